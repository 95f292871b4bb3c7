#include "vantrel/base/NumberText.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace vantrel {
namespace {

TEST(NumberText, ReadsOnlyWhatIsANumberFromEndToEnd) {
  EXPECT_EQ(text::parseNumber<std::uint8_t>("255"), 255);
  EXPECT_EQ(text::parseNumber<int>("-7f", 16), -127);
  for (const char* const none : {"", " 1", "1 ", "+1", "1.0", "256", "-1", "0x1"}) {
    EXPECT_EQ(text::parseNumber<std::uint8_t>(none), std::nullopt) << none;
  }
  EXPECT_EQ(text::parseNumber<double>("-2.5e3"), -2500.0);
  for (const char* const none : {"", "1e", "1e400", "1,5", "2 "}) {
    EXPECT_EQ(text::parseNumber<double>(none), std::nullopt) << none;
  }
}

TEST(NumberText, WritesAnyDoubleWithFixedPlaces) {
  EXPECT_EQ(text::fixedDecimals(0.125, 2), "0.12");
  EXPECT_EQ(text::fixedDecimals(-0.004, 2), "-0.00");
  EXPECT_EQ(text::fixedDecimals(2.5, -1), "2");
  EXPECT_EQ(text::fixedDecimals(std::numeric_limits<double>::lowest(), 6).size(), 1u + 309 + 7);
  EXPECT_EQ(text::fixedDecimals(std::numeric_limits<double>::infinity(), 2), "inf");
}

}  // namespace
}  // namespace vantrel
