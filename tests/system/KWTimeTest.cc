#include "vantrel/system/KWTime.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <thread>

#include "tests/system/ScopedZone.h"
#include "vantrel/loop/ManualClock.h"

namespace vantrel {
namespace {

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

// Through the public operations: the distance from a text that is known.
double momentOf(const std::string& timeText) {
  return KWTime::differenceOfDateA_AndDateB(timeText, "20240615120000") +
         make(2024, 6, 15, 12).secondsSince1970;
}

bool parses(std::string_view timeText) { return KWTime::addSec_OnDate(0, timeText).has_value(); }

// From Python's zoneinfo. `readsBack` is false where the local time occurs again later.
const struct KnownMoment {
  const char* zone;
  std::int64_t moment;
  const char* text;
  int weekday;
  bool readsBack = true;
} kKnownMoments[] = {
    {"UTC", 0, "19700101000000", 5},
    {"UTC", 951782400, "20000229000000", 3},
    {"UTC", -62135596800, "00010101000000", 2},
    {"UTC", 253402300799, "99991231235959", 6},
    {"UTC", -2203891200, "19000301000000", 5},
    {"Europe/Berlin", 1711846799, "20240331015959", 1},
    {"Europe/Berlin", 1711846800, "20240331030000", 1},
    {"Europe/Berlin", 1729990799, "20241027025959", 1, false},
    {"Europe/Berlin", 1729990800, "20241027020000", 1},
    {"Europe/Berlin", -1693706401, "19160430225959", 1},
    {"Europe/Berlin", -1693706400, "19160501000000", 2},
    {"Europe/Berlin", -773456400, "19450629020000", 6},
    {"Europe/Berlin", 4102444800, "21000101010000", 6},
    {"Europe/Berlin", -3000000000, "18741207193328", 2},
    {"America/New_York", 1710053999, "20240310015959", 1},
    {"America/New_York", 1710054000, "20240310030000", 1},
    {"America/New_York", 1730613599, "20241103015959", 1, false},
    {"America/New_York", 1730613600, "20241103010000", 1},
    {"America/New_York", -1633280401, "19180331015959", 1},
    {"America/New_York", -880218000, "19420209030000", 2},
    {"America/New_York", 7258118400, "21991231190000", 3},
    {"Australia/Lord_Howe", 1712415599, "20240407015959", 1, false},
    {"Australia/Lord_Howe", 1712415600, "20240407013000", 1},
    {"Australia/Lord_Howe", 1728142199, "20241006015959", 1},
    {"Australia/Lord_Howe", 1728142200, "20241006023000", 1},
    {"Australia/Lord_Howe", 352216799, "19810228235959", 7},
    {"Australia/Lord_Howe", 4999999999, "21280611192319", 6},
    {"Asia/Kolkata", 1709629629, "20240305143709", 3},
    {"Asia/Kolkata", -2019705670, "19060101000850", 2},
    {"Asia/Kolkata", -800000000, "19440826001640", 7},
    {"Pacific/Apia", 1325239199, "20111229235959", 5},
    {"Pacific/Apia", 1325239200, "20111231000000", 7},
    {"Africa/Monrovia", 63593069, "19720106235959", 5},
    {"Africa/Monrovia", 63593070, "19720107004430", 6},
};

TEST(KWTime, WritesAndReadsKnownMomentsInTheirZones) {
  for (const auto& known : kKnownMoments) {
    SCOPED_TRACE(std::string(known.zone) + " " + known.text);
    const ScopedZone zone(known.zone);
    const auto seconds = static_cast<double>(known.moment);
    EXPECT_EQ(textAt(seconds), known.text);
    EXPECT_EQ(KWTime::weekday(Date{seconds}), known.weekday);
    if (known.readsBack) {
      EXPECT_EQ(momentOf(known.text), seconds);
    } else {
      EXPECT_GT(momentOf(known.text), seconds);
    }
  }
}

TEST(KWTime, AgreesWithTheCLibraryOnRandomMoments) {
  std::mt19937_64 random(20240305);
  std::uniform_int_distribution<std::int64_t> anyMoment(-5'000'000'000, 10'000'000'000);
  for (const char* name : {"Europe/Berlin", "America/New_York", "Australia/Lord_Howe", "Asia/Tokyo",
                           "Africa/Casablanca", "CET-1CEST,M3.5.0,M10.5.0/3", "<-03:30>3:30"}) {
    const ScopedZone zone(name);
    for (int round = 0; round < 20'000; ++round) {
      const std::time_t moment = anyMoment(random);
      std::tm fields{};
      localtime_r(&moment, &fields);
      char expected[32];
      std::strftime(expected, sizeof expected, "%Y%m%d%H%M%S", &fields);
      ASSERT_EQ(textAt(static_cast<double>(moment)), expected) << name << " " << moment;
      const double read = momentOf(expected);
      if (read == static_cast<double>(moment)) continue;
      // Only a local time that occurs twice may read as another moment, and then it shows the same.
      ASSERT_GT(read, static_cast<double>(moment)) << name << " " << expected;
      ASSERT_EQ(textAt(read), expected) << name;
    }
  }
}

TEST(KWTime, LocalTimesThatTheClockSkipsDoNotParse) {
  const struct {
    const char* zone;
    const char* lastBefore;
    const char* firstSkipped;
    const char* lastSkipped;
    const char* firstAfter;
  } kGaps[] = {
      {"Europe/Berlin", "20240331015959", "20240331020000", "20240331025959", "20240331030000"},
      {"America/New_York", "20240310015959", "20240310020000", "20240310025959", "20240310030000"},
      {"Australia/Lord_Howe", "20241006015959", "20241006020000", "20241006022959", "20241006023000"},
      {"Pacific/Apia", "20111229235959", "20111230000000", "20111230235959", "20111231000000"},
  };
  for (const auto& gap : kGaps) {
    SCOPED_TRACE(gap.zone);
    const ScopedZone zone(gap.zone);
    EXPECT_FALSE(parses(gap.firstSkipped));
    EXPECT_FALSE(parses(gap.lastSkipped));
    EXPECT_EQ(KWTime::differenceOfDateA_AndDateB(gap.firstAfter, gap.lastBefore), 1);
    EXPECT_EQ(KWTime::addSec_OnDate(1, gap.lastBefore), gap.firstAfter);
    EXPECT_EQ(KWTime::addSec_OnDate(-1, gap.firstAfter), gap.lastBefore);
  }
  const ScopedZone zone("Asia/Kolkata");
  EXPECT_TRUE(parses("20240331023000"));
}

TEST(KWTime, ALocalTimeThatOccursTwiceIsTheLaterMoment) {
  const struct {
    const char* zone;
    const char* before;
    const char* twice;
    double apart;
  } kOverlaps[] = {
      {"Europe/Berlin", "20241027013000", "20241027023000", 7200},
      {"America/New_York", "20241103003000", "20241103013000", 7200},
      {"Australia/Lord_Howe", "20240407011500", "20240407014500", 3600},
  };
  for (const auto& overlap : kOverlaps) {
    SCOPED_TRACE(overlap.zone);
    const ScopedZone zone(overlap.zone);
    EXPECT_EQ(KWTime::differenceOfDateA_AndDateB(overlap.twice, overlap.before), overlap.apart);
  }
}

TEST(KWTime, OnlyFourteenDigitsThatNameAMomentParse) {
  const ScopedZone zone("UTC");
  for (const char* text : {"20240229235959", "00010101000000", "99991231235959"}) {
    EXPECT_TRUE(parses(text)) << text;
  }
  using namespace std::string_view_literals;
  for (const std::string_view text : {""sv,
                                      "2024030514070"sv,
                                      "202403051407099"sv,
                                      "20240305140709 "sv,
                                      " 2024030514070"sv,
                                      "+2024030514070"sv,
                                      "2024-3-5140709"sv,
                                      "20241305140709"sv,
                                      "20240005140709"sv,
                                      "20240230000000"sv,
                                      "20230229000000"sv,
                                      "19000229000000"sv,
                                      "20240431000000"sv,
                                      "20240300000000"sv,
                                      "20240305240000"sv,
                                      "20240305146000"sv,
                                      "20240305140760"sv,
                                      "00000101000000"sv,
                                      "2024030514070\0"sv,
                                      "２０２４０３０５１４０７０９"sv,
                                      "2024030514070x"sv,
                                      "１0240305140"sv}) {
    EXPECT_FALSE(parses(text)) << text;
    EXPECT_TRUE(std::isnan(KWTime::differenceOfDateA_AndDateB(text, "20240305140709"))) << text;
    EXPECT_TRUE(std::isnan(KWTime::differenceOfDateA_AndDateB("20240305140709", text))) << text;
  }
}

TEST(KWTime, AddsSecondsToATimeText) {
  const ScopedZone zone("UTC");
  const double kNaN = std::numeric_limits<double>::quiet_NaN();
  const double kInfinity = std::numeric_limits<double>::infinity();
  const struct {
    double seconds;
    const char* text;
    std::optional<std::string> expected;
  } kCases[] = {
      {1, "20231231235959", "20240101000000"},    {-86400, "20240301000000", "20240229000000"},
      {0.5, "20240101000000", "20240101000000"},  {-0.5, "20240101000000", "20231231235959"},
      {-0.5, "19700101000000", "19691231235959"}, {1.75, "19691231235959", "19700101000000"},
      {1, "99991231235959", std::nullopt},        {-1, "00010101000000", std::nullopt},
      {1e300, "20240101000000", std::nullopt},    {-kInfinity, "20240101000000", std::nullopt},
      {kNaN, "20240101000000", std::nullopt},
  };
  for (const auto& c : kCases) EXPECT_EQ(KWTime::addSec_OnDate(c.seconds, c.text), c.expected) << c.seconds;
}

TEST(KWTime, DifferencesArePositiveWhenTheFirstIsLater) {
  EXPECT_EQ(KWTime::differenceOfDateA_AndDateB("20240101000100", "20240101000000"), 60.0);
  EXPECT_EQ(KWTime::differenceOfDateA_AndDateB("20240101000000", "20240101000100"), -60.0);
  EXPECT_EQ(KWTime::gapOfDateA_DateB(Date{10.25}, Date{12}), -1.75);
}

TEST(KWTime, MembersMakeADateOnlyWhenTheyNameOne) {
  const ScopedZone zone("Europe/Berlin");
  EXPECT_EQ(make(2024, 2, 5, 7, 8, 9), Date{1707113289});
  EXPECT_EQ(make(1, 1, 1).secondsSince1970, -62135596800 - 3208);  // local mean time until 1893
  const int kMost = std::numeric_limits<int>::max();
  const int kLeast = std::numeric_limits<int>::min();
  const int kWrong[][6] = {{2024, 13, 1, 0, 0, 0},  {2024, 0, 1, 0, 0, 0},  {2024, 1, 1, 24, 0, 0},
                           {2024, 2, 30, 0, 0, 0},  {2023, 2, 29, 0, 0, 0}, {2024, 1, 0, 0, 0, 0},
                           {2024, 1, 1, 0, 60, 0},  {2024, 1, 1, 0, 0, 60}, {2024, 1, 1, 0, 0, -1},
                           {10000, 1, 1, 0, 0, 0},  {0, 1, 1, 0, 0, 0},     {-5, 1, 1, 0, 0, 0},
                           {2024, 3, 31, 2, 30, 0}, {kMost, 1, 1, 0, 0, 0}, {kLeast, 1, 1, 0, 0, 0},
                           {2024, 257, 1, 0, 0, 0}, {2024, 1, 257, 0, 0, 0}};
  for (const auto& m : kWrong) {
    EXPECT_FALSE(KWTime::makeDateYear_Month_Day_Hour_Min_Sec(m[0], m[1], m[2], m[3], m[4], m[5]))
        << m[0] << "-" << m[1] << "-" << m[2] << " " << m[3] << ":" << m[4] << ":" << m[5];
  }
}

TEST(KWTime, DividesAnyTextOfFourteenCharacters) {
  EXPECT_THAT(*KWTime::divideDateMembers("20240305140709"),
              ElementsAre("2024", "03", "05", "14", "07", "09"));
  EXPECT_THAT(*KWTime::divideDateMembers("abcdefghijklmn"),
              ElementsAre("abcd", "ef", "gh", "ij", "kl", "mn"));
  EXPECT_THAT(*KWTime::divideDateMembers("äöü年0305140709"),
              ElementsAre("äöü年", "03", "05", "14", "07", "09"));
  EXPECT_EQ(KWTime::divideDateMembers("2024030514070"), std::nullopt);
  EXPECT_EQ(KWTime::divideDateMembers("202403051407090"), std::nullopt);
  EXPECT_EQ(KWTime::divideDateMembers("äöü年äöü"),
            std::nullopt);  // fourteen bytes and more, seven characters
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

TEST(KWTime, ReadsCalendarFields) {
  const ScopedZone zone("Europe/Berlin");
  const Date date = make(2024, 3, 5, 23, 59, 59);
  EXPECT_EQ(KWTime::year(date), 2024);
  EXPECT_EQ(KWTime::month(date), 3);
  EXPECT_EQ(KWTime::day(date), 5);
  EXPECT_EQ(KWTime::weekday(date), 3);
  EXPECT_EQ(KWTime::day(Date{date.secondsSince1970 + 0.999}), 5);
  EXPECT_EQ(KWTime::day(Date{date.secondsSince1970 + 1}), 6);
  EXPECT_EQ(KWTime::year(Date{-62135596800.0 - 86400}), 0);
}

TEST(KWTime, KnowsTheShapeOfAMonth) {
  const struct {
    int year, month, days, emptyCells;
  } kMonths[] = {{2024, 3, 31, 5}, {2024, 2, 29, 4}, {2023, 2, 28, 3}, {1900, 2, 28, 4},
                 {2000, 2, 29, 2}, {2024, 9, 30, 0}, {2024, 6, 30, 6}};
  for (const auto& m : kMonths) {
    for (const int day : {1, 17, m.days}) {
      const Date date = make(m.year, m.month, day, 12);
      EXPECT_EQ(KWTime::totaldaysInMonth(date), m.days) << m.year << "-" << m.month;
      EXPECT_EQ(KWTime::firstWeekdayInThisMonth(date), m.emptyCells) << m.year << "-" << m.month;
    }
  }
}

TEST(KWTime, MovesByMonthsToTheSameOrTheLastDay) {
  const ScopedZone zone("Europe/Berlin");
  EXPECT_EQ(KWTime::changeMonth_onDate(1, make(2024, 1, 31, 10, 20, 30)), make(2024, 2, 29, 10, 20, 30));
  EXPECT_EQ(KWTime::changeMonth_onDate(1, make(2023, 1, 31)), make(2023, 2, 28));
  EXPECT_EQ(KWTime::changeMonth_onDate(-12, make(2024, 1, 31)), make(2023, 1, 31));
  EXPECT_EQ(KWTime::changeMonth_onDate(-1, make(2024, 1, 31)), make(2023, 12, 31));
  EXPECT_EQ(KWTime::changeMonth_onDate(-25, make(2024, 1, 31)), make(2021, 12, 31));
  EXPECT_EQ(KWTime::changeMonth_onDate(6, make(2024, 1, 15, 12)), make(2024, 7, 15, 12));  // into summer time
  const Date withFraction{make(2024, 1, 31).secondsSince1970 + 0.25};
  EXPECT_EQ(KWTime::changeMonth_onDate(1, withFraction).secondsSince1970,
            make(2024, 2, 29).secondsSince1970 + 0.25);
  const Date yearOne = make(1, 1, 15);
  EXPECT_EQ(KWTime::year(KWTime::changeMonth_onDate(-1, yearOne)), 0);
  EXPECT_EQ(KWTime::month(KWTime::changeMonth_onDate(-1, yearOne)), 12);
  EXPECT_EQ(KWTime::changeMonth_onDate(1, KWTime::changeMonth_onDate(-1, yearOne)), yearOne);
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
  for (const double seconds : {1e300, -1e300, 3e11, -4e11, std::numeric_limits<double>::infinity()}) {
    const Date date{seconds};
    EXPECT_EQ(KWTime::year(date), 0);
    EXPECT_EQ(KWTime::weekday(date), 0);
    EXPECT_EQ(KWTime::totaldaysInMonth(date), 0);
    EXPECT_EQ(KWTime::changeMonth_onDate(1, date), date);
    EXPECT_EQ(KWTime::changeDay_onDate(1, date), date);
  }
  EXPECT_EQ(KWTime::day(Date{std::numeric_limits<double>::quiet_NaN()}), 0);
  const Date date{0};
  for (const int far : {std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
    EXPECT_EQ(KWTime::changeMonth_onDate(far, date), date);
    EXPECT_EQ(KWTime::changeDay_onDate(far, date), date);
  }
}

TEST(KWTime, AChangeOfTheZoneCountsFromTheNextCallOn) {
  const Date date{1709629629};
  const ScopedZone zone("Asia/Kolkata");
  EXPECT_EQ(textAt(date.secondsSince1970), "20240305143709");
  setenv("TZ", "America/New_York", 1);
  EXPECT_EQ(textAt(date.secondsSince1970), "20240305040709");
  std::thread([&date] { EXPECT_EQ(textAt(date.secondsSince1970), "20240305040709"); }).join();
}

TEST(KWTime, ShowsLengthsOfTime) {
  const std::pair<std::uint32_t, const char*> kLengths[] = {
      {0, "00:00"},        {59, "00:59"},         {65, "01:05"},
      {3599, "59:59"},     {3600, "01:00:00"},    {3661, "01:01:01"},
      {36000, "10:00:00"}, {360000, "100:00:00"}, {4294967295u, "1193046:28:15"}};
  for (const auto& [seconds, text] : kLengths) EXPECT_EQ(KWTime::stringFromSec(seconds), text);
  EXPECT_EQ(KWTime::textSec(0), "00");
  EXPECT_EQ(KWTime::textSec(9), "09");
  EXPECT_EQ(KWTime::textSec(10), "10");
  EXPECT_EQ(KWTime::textSec(4294967295u), "4294967295");
}

}  // namespace
}  // namespace vantrel
