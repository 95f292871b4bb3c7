#include "vantrel/system/KWTime.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <tuple>
#include <vector>

#include "tests/support/Words.h"
#include "vantrel/loop/ManualClock.h"

namespace vantrel {
namespace {

using namespace std::string_literals;
using testing::ElementsAre;

Date make(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
  const auto date = KWTime::makeDateYear_Month_Day_Hour_Min_Sec(year, month, day, hour, minute, second);
  EXPECT_TRUE(date.has_value());
  return date.value_or(Date{});
}

std::string textAt(double secondsSince1970) {
  ManualClock clock(Date{secondsSince1970});
  const ScopedClock scope(clock);
  return KWTime::dateString();
}

/// Sets the local time zone as long as it lives; without one it is the machine's.
struct ScopedZone {
  explicit ScopedZone(const std::string& name) { setenv("TZ", name.c_str(), 1), tzset(); }
  ~ScopedZone() { unsetenv("TZ"), tzset(); }
  ScopedZone(const ScopedZone&) = delete;
};

// Through the public operations: the distance from a text that is known.
double momentOf(const std::string& timeText) {
  return KWTime::differenceOfDateA_AndDateB(timeText, "20240615120000") +
         make(2024, 6, 15, 12).secondsSince1970;
}

bool parses(std::string_view timeText) { return KWTime::addSec_OnDate(0, timeText).has_value(); }

std::tm fieldsAt(std::int64_t moment, std::tm* (*fieldsOf)(const std::time_t*, std::tm*) = localtime_r) {
  std::tm fields{};
  fieldsOf(&moment, &fields);
  return fields;
}

std::string textOf(const std::tm& fields) {
  char text[32];
  std::strftime(text, sizeof text, "%Y%m%d%H%M%S", &fields);
  return text;
}

// That all operations show and read a moment as the C library does.
void agrees(std::int64_t moment) {
  const std::tm fields = fieldsAt(moment);
  const std::string text = textOf(fields);
  const Date date{static_cast<double>(moment)};
  ASSERT_EQ(textAt(date.secondsSince1970), text) << moment;
  ASSERT_EQ(KWTime::year(date), fields.tm_year + 1900) << moment;
  ASSERT_EQ(KWTime::month(date), fields.tm_mon + 1) << moment;
  ASSERT_EQ(KWTime::day(Date{date.secondsSince1970 + 0.999}), fields.tm_mday) << moment;
  ASSERT_EQ(KWTime::weekday(date), fields.tm_wday + 1) << moment;
  std::tm last{};
  last.tm_year = fields.tm_year, last.tm_mon = fields.tm_mon + 1;  // the day before its first
  timegm(&last);
  ASSERT_EQ(KWTime::totaldaysInMonth(date), last.tm_mday) << moment;
  ASSERT_EQ(KWTime::firstWeekdayInThisMonth(date), (fields.tm_wday + 36 - fields.tm_mday) % 7) << moment;
  // Only a local time that occurs twice may read as another moment, a later one that shows the same.
  const double read = momentOf(text);
  ASSERT_GE(read, date.secondsSince1970) << text;
  ASSERT_EQ(textOf(fieldsAt(static_cast<std::int64_t>(read))), text);
}

// What holds at the two seconds between which the clock is set from one offset to another.
void agreesAtChange(std::int64_t before, std::int64_t offset, std::int64_t offsetBehind) {
  const std::int64_t behind = before + 1;
  agrees(before);
  agrees(behind);
  const std::string text = textOf(fieldsAt(before)), next = textOf(fieldsAt(behind));
  if (offset > offsetBehind) {
    EXPECT_EQ(momentOf(text), static_cast<double>(before + offset - offsetBehind)) << "the later one";
    return;
  }
  EXPECT_FALSE(parses(textOf(fieldsAt(behind + offset, gmtime_r)))) << "the first that is skipped";
  EXPECT_FALSE(parses(textOf(fieldsAt(before + offsetBehind, gmtime_r)))) << "the last one";
  EXPECT_EQ(KWTime::differenceOfDateA_AndDateB(next, text), 1);
  EXPECT_EQ(KWTime::addSec_OnDate(1, text), next);
  EXPECT_EQ(KWTime::addSec_OnDate(-1, next), text);
}

TEST(KWTime, AgreesWithTheCLibraryOnRandomMomentsAndAtEveryChangeOfTheClock) {
  std::mt19937_64 random(20240305);
  std::uniform_int_distribution<std::int64_t> anyMoment(-30'000'000'000, 100'000'000'000);
  const auto offsetAt = [](std::int64_t moment) { return fieldsAt(moment).tm_gmtoff; };
  constexpr std::int64_t kDay = 86'400;
  int changes = 0;
  for (const char* name :
       {"UTC", "Europe/Berlin", "America/New_York", "Australia/Lord_Howe", "Asia/Kolkata", "Pacific/Apia",
        "Africa/Monrovia", "Africa/Casablanca", "CET-1CEST,M3.5.0,M10.5.0/3", "<-03:30>3:30"}) {
    SCOPED_TRACE(name);
    const ScopedZone zone(name);
    for (int round = 0; round < 2'000; ++round) ASSERT_NO_FATAL_FAILURE(agrees(anyMoment(random)));
    for (std::int64_t day = -30'000 * kDay; day < 40'000 * kDay; day += kDay) {
      const std::int64_t offset = offsetAt(day), next = offsetAt(day + kDay);
      if (offset == next) continue;
      std::int64_t before = day;
      for (std::int64_t behind = day + kDay; behind - before > 1;) {
        const std::int64_t middle = (before + behind) / 2;
        (offsetAt(middle) == offset ? before : behind) = middle;
      }
      ASSERT_NO_FATAL_FAILURE(agreesAtChange(before, offset, next));
      ++changes;
    }
  }
  EXPECT_GT(changes, 1'000);
}

TEST(KWTime, OnlyFourteenDigitsThatNameAMomentParse) {
  const ScopedZone zone("UTC");
  for (const char* text : {"20240229235959", "00010101000000", "99991231235959"}) {
    EXPECT_EQ(KWTime::addSec_OnDate(0, text), text);
  }
  std::vector<std::string> refused = {"", "20240305140709 ", " 2024030514070", "2024030514070\0"s};
  const std::string more =
      "2024030514070 202403051407099 +2024030514070 2024-3-5140709 20241305140709 20240005140709 "
      "20240230000000 20230229000000 19000229000000 20240431000000 20240300000000 20240305240000 "
      "20240305146000 20240305140760 00000101000000 ２０２４０３０５１４０７０９ 2024030514070x "
      "１0240305140";
  std::ranges::copy(tests::words(more), std::back_inserter(refused));
  for (const std::string& text : refused) {
    EXPECT_FALSE(parses(text)) << text;
    EXPECT_TRUE(std::isnan(KWTime::differenceOfDateA_AndDateB(text, "20240305140709"))) << text;
    EXPECT_TRUE(std::isnan(KWTime::differenceOfDateA_AndDateB("20240305140709", text))) << text;
  }
}

TEST(KWTime, AddsSecondsToATimeText) {
  const ScopedZone zone("UTC");
  const struct {
    double seconds;
    const char* text;
    std::optional<std::string> expected;
  } kCases[] = {
      {1, "20231231235959", "20240101000000"},
      {-86400, "20240301000000", "20240229000000"},
      {0.5, "20240101000000", "20240101000000"},
      {-0.5, "20240101000000", "20231231235959"},
      {-0.5, "19700101000000", "19691231235959"},
      {1.75, "19691231235959", "19700101000000"},
      {1, "99991231235959", std::nullopt},
      {-1, "00010101000000", std::nullopt},
      {1e300, "20240101000000", std::nullopt},
      {-HUGE_VAL, "20240101000000", std::nullopt},
      {std::nan(""), "20240101000000", std::nullopt},
  };
  for (const auto& c : kCases) EXPECT_EQ(KWTime::addSec_OnDate(c.seconds, c.text), c.expected) << c.seconds;
  EXPECT_EQ(KWTime::gapOfDateA_DateB(Date{10.25}, Date{12}), -1.75);
}

TEST(KWTime, MembersMakeADateOnlyWhenTheyNameOne) {
  const ScopedZone zone("Europe/Berlin");
  EXPECT_EQ(make(2024, 2, 5, 7, 8, 9), Date{1707113289});
  EXPECT_EQ(make(1, 1, 1).secondsSince1970, -62135596800 - 3208);  // local mean time until 1893
  const int most = std::numeric_limits<int>::max(), least = std::numeric_limits<int>::min();
  const std::array<int, 6> wrong[] = {
      {2024, 13, 1, 0, 0, 0}, {2024, 0, 1, 0, 0, 0},   {2024, 1, 1, 24, 0, 0},  {2024, 2, 30, 0, 0, 0},
      {2024, 1, 0, 0, 0, 0},  {2024, 1, 1, 0, 60, 0},  {2024, 1, 1, 0, 0, 60},  {2024, 1, 1, 0, 0, -1},
      {10000, 1, 1, 0, 0, 0}, {0, 1, 1, 0, 0, 0},      {2024, 3, 31, 2, 30, 0}, {most, 1, 1, 0, 0, 0},
      {least, 1, 1, 0, 0, 0}, {2024, 257, 1, 0, 0, 0}, {2024, 1, 257, 0, 0, 0}};
  for (const auto& m : wrong)
    EXPECT_FALSE(std::apply(KWTime::makeDateYear_Month_Day_Hour_Min_Sec, m)) << testing::PrintToString(m);
}

TEST(KWTime, DividesAnyTextOfFourteenCharacters) {
  EXPECT_THAT(*KWTime::divideDateMembers("20240305140709"),
              ElementsAre("2024", "03", "05", "14", "07", "09"));
  EXPECT_THAT(*KWTime::divideDateMembers("äöü年0305abcd09"),
              ElementsAre("äöü年", "03", "05", "ab", "cd", "09"));
  // The last one has fourteen bytes and seven characters.
  for (const char* text : {"2024030514070", "202403051407090", "äöüäöüä"})
    EXPECT_EQ(KWTime::divideDateMembers(text), std::nullopt) << text;
}

TEST(KWTime, TellsTheCurrentTimeOfTheClockInForce) {
  const ScopedZone zone("America/New_York");
  ManualClock clock(Date{1709647629.75});
  const ScopedClock scope(clock);
  EXPECT_EQ(KWTime::dateCurrent(), 1709647629);
  EXPECT_EQ(KWTime::dateString(), "20240305090709");
  EXPECT_THAT(KWTime::dateMembers(), ElementsAre("2024", "03", "05", "09", "07", "09"));
  clock.setDate(Date{-1.5});
  EXPECT_EQ(KWTime::dateCurrent(), -1);
  EXPECT_EQ(KWTime::dateString(), "19691231185958");
  clock.setDate(Date{1e300});
  EXPECT_EQ(KWTime::dateCurrent(), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(KWTime::dateString(), "99991231235959");
}

TEST(KWTime, MovesByMonthsToTheSameOrTheLastDay) {
  const ScopedZone zone("Europe/Berlin");
  const auto moved = [](int months, Date from) { return KWTime::changeMonth_onDate(months, from); };
  EXPECT_EQ(moved(1, make(2024, 1, 31, 10, 20, 30)), make(2024, 2, 29, 10, 20, 30));
  EXPECT_EQ(moved(1, make(2023, 1, 31)), make(2023, 2, 28));
  EXPECT_EQ(moved(-12, make(2024, 1, 31)), make(2023, 1, 31));
  EXPECT_EQ(moved(-1, make(2024, 1, 31)), make(2023, 12, 31));
  EXPECT_EQ(moved(-25, make(2024, 1, 31)), make(2021, 12, 31));
  EXPECT_EQ(moved(6, make(2024, 1, 15, 12)), make(2024, 7, 15, 12));  // into summer time
  EXPECT_EQ(moved(1, Date{make(2024, 1, 31).secondsSince1970 + 0.25}).secondsSince1970,
            make(2024, 2, 29).secondsSince1970 + 0.25);
  const Date beforeYearOne = moved(-1, make(1, 1, 15));
  EXPECT_EQ(KWTime::year(beforeYearOne), 0);
  EXPECT_EQ(KWTime::month(beforeYearOne), 12);
  EXPECT_EQ(moved(1, beforeYearOne), make(1, 1, 15));
}

TEST(KWTime, MovingByDaysKeepsTheLocalClockTime) {
  const struct {
    const char* zone;
    double from;
    int days;
    double expected;
  } kMoves[] = {
      // Berlin 2024-03-30 12:00 to 03-31 12:00 is 23 hours; 10-26 12:00 to 10-27 12:00 is 25.
      {"Europe/Berlin", 1711796400, 1, 1711796400 + 23 * 3600},
      {"Europe/Berlin", 1729936800, 1, 1729936800 + 25 * 3600},
      // 02:30 is skipped on 03-31: past the gap by an hour, 03:30, from both sides.
      {"Europe/Berlin", 1711762200, 1, 1711848600},
      {"Europe/Berlin", 1711931400, -1, 1711848600},
      // 02:30 comes twice on 10-27: the one with the offset of the day that was left.
      {"Europe/Berlin", 1729902600, 1, 1729989000},
      {"Europe/Berlin", 1730079000, -1, 1729992600},
      {"America/New_York", 1709969400, 1, 1710055800},
      {"Australia/Lord_Howe", 1728056700, 1, 1728143100},
      {"Asia/Kolkata", 1711796400, 1, 1711796400 + 86400},
      {"Asia/Kolkata", 1711796400.5, -400, 1711796400.5 - 400 * 86400},
  };
  for (const auto& move : kMoves) {
    const ScopedZone zone(move.zone);
    EXPECT_EQ(KWTime::changeDay_onDate(move.days, Date{move.from}), Date{move.expected})
        << move.zone << " " << textAt(move.from) << " became "
        << textAt(KWTime::changeDay_onDate(move.days, Date{move.from}).secondsSince1970);
  }
}

TEST(KWTime, DatesOutsideTheCalendarHaveNoFieldsAndDoNotMove) {
  for (const double seconds : {1e300, -1e300, 3e11, -4e11, HUGE_VAL}) {
    const Date date{seconds};
    EXPECT_EQ(KWTime::year(date), 0);
    EXPECT_EQ(KWTime::weekday(date), 0);
    EXPECT_EQ(KWTime::totaldaysInMonth(date), 0);
    EXPECT_EQ(KWTime::changeMonth_onDate(1, date), date);
    EXPECT_EQ(KWTime::changeDay_onDate(1, date), date);
  }
  EXPECT_EQ(KWTime::day(Date{std::nan("")}), 0);
  EXPECT_EQ(KWTime::changeDay_onDate(1, make(9999, 12, 31)), make(9999, 12, 31));
  const Date date{0};
  for (const int far : {std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
    EXPECT_EQ(KWTime::changeMonth_onDate(far, date), date);
    EXPECT_EQ(KWTime::changeDay_onDate(far, date), date);
  }
}

TEST(KWTime, ShowsLengthsOfTime) {
  const std::pair<std::uint32_t, const char*> kLengths[] = {
      {0, "00:00"},        {59, "00:59"},         {65, "01:05"},
      {3599, "59:59"},     {3600, "01:00:00"},    {3661, "01:01:01"},
      {36000, "10:00:00"}, {360000, "100:00:00"}, {4294967295u, "1193046:28:15"}};
  for (const auto& [seconds, text] : kLengths) EXPECT_EQ(KWTime::stringFromSec(seconds), text);
  for (const auto& [seconds, text] : {std::pair{0U, "00"}, {9, "09"}, {10, "10"}, {~0U, "4294967295"}})
    EXPECT_EQ(KWTime::textSec(seconds), text);
}

}  // namespace
}  // namespace vantrel
