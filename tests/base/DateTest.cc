#include "vantrel/base/Date.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

namespace vantrel {
namespace {

TEST(Date, IsTheSameMomentAsTheSystemClocks) {
  using std::chrono::nanoseconds;
  using std::chrono::system_clock;
  const auto moment = [](std::int64_t ticks) { return system_clock::time_point(nanoseconds(ticks)); };
  EXPECT_EQ(Date::of(moment(-1'500'000'000)), Date{-1.5});
  EXPECT_EQ(Date{1'700'000'000.25}.timePoint(), moment(1'700'000'000'250'000'000));
  EXPECT_EQ(Date{-0.000000001}.timePoint(), moment(-1));
  for (const double seconds : {1'234'567'890.123456, -5e9 / 3, 9'223'372'035.9, -9'223'372'036.0}) {
    EXPECT_EQ(Date::of(*Date{seconds}.timePoint()), Date{seconds});
  }
  for (const double beyond : {9'223'372'036.0, -9'223'372'037.0, 1e300, std::nan("")}) {
    EXPECT_EQ(Date{beyond}.timePoint(), std::nullopt);
  }
}

}  // namespace
}  // namespace vantrel
