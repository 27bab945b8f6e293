#include "process/default_platform.h"

#include "zelvo/testing/testing_platform.h"

namespace zelvo {

// The unit tests link the core without the Linux platform, so a process-wide tracker that
// nobody installed a platform for runs on a testing one.
std::shared_ptr<Platform> makeDefaultPlatform() { return std::make_shared<testing::TestingPlatform>(); }

}  // namespace zelvo
