#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "common/format.h"
#include "common/number_text.h"

// The ping's numbers are written with std::to_chars; printf in the "C" locale (formatPosix)
// is the text they must match, byte for byte, for every value the protocol can carry.
namespace zelvo {
namespace {

TEST(NumberTextTest, IntegersMatchPrintf) {
  const int64_t values[] = {0,         1,         -1,        9,         10,        2147483647,
                            -2147483648LL, 4294967295LL, 1234567,   -987654321,
                            std::numeric_limits<int64_t>::max(), std::numeric_limits<int64_t>::min()};
  for (int64_t value : values) {
    char text[kIntegerTextSize];
    EXPECT_EQ(std::string(text, writeIntegerText(text, value)), formatPosix("%lld", static_cast<long long>(value)))
        << value;
  }
}

// Every dwell time of up to about 28 hours, in minutes as the ping computes them: divided
// in single precision, then "%.2f". None of them is an exact half at the third decimal (the
// next test covers those), but many come within a few float steps of one.
TEST(NumberTextTest, DwellMinutesMatchPrintfOverASweep) {
  int mismatches = 0;
  for (uint32_t dwell = 0; dwell <= 100000; ++dwell) {
    const double minutes = static_cast<double>(static_cast<float>(dwell) / 60.0f);
    const std::string expected = formatPosix("%.2f", minutes);
    for (const std::string& actual : {fixedText(minutes, 2), hundredthsText(static_cast<float>(minutes))}) {
      if (actual != expected && ++mismatches <= 5) {
        ADD_FAILURE() << "dwell " << dwell << ": " << actual << " instead of " << expected;
      }
    }
  }
  EXPECT_EQ(mismatches, 0);
}

// Exact binary halves at the rounding digit go to the even neighbour, as in printf.
TEST(NumberTextTest, ExactHalvesRoundToEvenLikePrintf) {
  const double halves2[] = {0.125, 0.375, 0.625, 0.875, 1.125, 2.5 / 4, 1666.625, -0.125, 0.005, 1.015};
  for (double value : halves2) EXPECT_EQ(fixedText(value, 2), formatPosix("%.2f", value)) << value;
  for (float value : {0.125f, 0.375f, 0.625f, 1666.625f, 7158278.5f, 0.0f, -0.0f, -0.125f, 1e20f}) {
    EXPECT_EQ(hundredthsText(value), formatPosix("%.2f", static_cast<double>(value))) << value;
  }
  EXPECT_EQ(fixedText(0.125, 2), "0.12");
  EXPECT_EQ(fixedText(0.375, 2), "0.38");

  const double halves6[] = {0.0078125, 0.0234375, -0.0078125, 52.5 / 64, 13.4050005};
  for (double value : halves6) EXPECT_EQ(fixedText(value, 6), formatPosix("%f", value)) << value;
  EXPECT_EQ(fixedText(0.0078125, 6), "0.007812");
}

// Random coordinates, coordinates typed with seven decimals (ending in a 5 just past the
// sixth), the edges and the values that are not finite.
TEST(NumberTextTest, CoordinatesMatchPrintf) {
  std::mt19937_64 random(20260301);  // fixed seed: the same values every run
  std::uniform_real_distribution<double> longitude(-180.0, 180.0);
  std::vector<double> values = {0.0, -0.0, -0.0000001, 90.0, -90.0, 180.0, -180.0, 52.52, 13.405, 1e300, -1e-300,
                                std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity(),
                                std::numeric_limits<double>::quiet_NaN(), -std::numeric_limits<double>::quiet_NaN()};
  for (int i = 0; i < 40000; ++i) values.push_back(longitude(random));
  for (int k = -1800000; k <= 1800000; k += 997) values.push_back(k / 10000.0 + 0.0000005);
  int mismatches = 0;
  for (double value : values) {
    // glibc's printf writes the sign of a NaN; mingw's does not, and the library writes it.
    const std::string expected =
        std::isnan(value) ? (std::signbit(value) ? "-nan" : "nan") : formatPosix("%f", value);
    if (fixedText(value, 6) != expected && ++mismatches <= 5) {
      ADD_FAILURE() << "coordinate " << value << ": " << fixedText(value, 6) << " instead of " << expected;
    }
  }
  EXPECT_EQ(mismatches, 0);
}

}  // namespace
}  // namespace zelvo
