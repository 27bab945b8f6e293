#include "zelvo/testing/testing_platform.h"

namespace zelvo::testing {

TestingPlatform::TestingPlatform(double start, const std::string& zoneName)
    : clock_(start), calendar_(zoneName), runLoop_(clock_), reachability_(runLoop_) {}

TestingPlatform::~TestingPlatform() = default;

void TestingPlatform::setTimeZone(const std::string& zoneName) { calendar_.setZone(zoneName); }

}  // namespace zelvo::testing
