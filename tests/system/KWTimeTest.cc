#include "vantrel/system/KWTime.h"

#include <gmock/gmock.h>

#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <sstream>
#include <tuple>
#include <vector>

#include "tests/system/ScopedZone.h"
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

// Through the public operations: the distance from a text that is known.
double momentOf(const std::string& timeText) {
  return KWTime::differenceOfDateA_AndDateB(timeText, "20240615120000") +
         make(2024, 6, 15, 12).secondsSince1970;
}

bool parses(std::string_view timeText) { return KWTime::addSec_OnDate(0, timeText).has_value(); }

// The zone, then moments with their texts and weekdays, from Python's zoneinfo. A + is where the local time
// occurs again later and reads as that moment.
constexpr const char* kKnownMoments =
    R"(UTC   0 19700101000000 5   951782400 20000229000000 3   -62135596800 00010101000000 2
UTC   253402300799 99991231235959 6   -2203891200 19000301000000 5
Europe/Berlin   1711846799 20240331015959 1   1711846800 20240331030000 1   1729990799 20241027025959 1+
Europe/Berlin   1729990800 20241027020000 1   -1693706401 19160430225959 1
Europe/Berlin   -1693706400 19160501000000 2   -773456400 19450629020000 6   4102444800 21000101010000 6
Europe/Berlin   -3000000000 18741207193328 2
America/New_York   1710053999 20240310015959 1   1710054000 20240310030000 1
America/New_York   1730613599 20241103015959 1+   1730613600 20241103010000 1
America/New_York   -1633280401 19180331015959 1   -880218000 19420209030000 2
America/New_York   7258118400 21991231190000 3
Australia/Lord_Howe   1712415599 20240407015959 1+   1712415600 20240407013000 1
Australia/Lord_Howe   1728142199 20241006015959 1   1728142200 20241006023000 1
Australia/Lord_Howe   352216799 19810228235959 7   4999999999 21280611192319 6
Asia/Kolkata   1709629629 20240305143709 3   -2019705670 19060101000850 2   -800000000 19440826001640 7
Pacific/Apia   1325239199 20111229235959 5   1325239200 20111231000000 7
Africa/Monrovia   63593069 19720106235959 5   63593070 19720107004430 6)";

TEST(KWTime, WritesAndReadsKnownMomentsInTheirZones) {
  int cases = 0;
  std::istringstream table(kKnownMoments);
  for (std::string line, name; std::getline(table, line);) {
    std::istringstream words(line);
    words >> name;
    const ScopedZone zone(name.c_str());
    std::string text, weekday;
    for (double moment = 0; words >> moment >> text >> weekday; ++cases) {
      SCOPED_TRACE(name + " " + text);
      const Date date{moment};
      EXPECT_EQ(textAt(moment), text);
      EXPECT_EQ(KWTime::year(date), std::stoi(text.substr(0, 4)));
      EXPECT_EQ(KWTime::month(date), std::stoi(text.substr(4, 2)));
      EXPECT_EQ(KWTime::day(date), std::stoi(text.substr(6, 2)));
      EXPECT_EQ(KWTime::day(Date{moment + 0.999}), KWTime::day(date));
      EXPECT_EQ(std::to_string(KWTime::weekday(date)), weekday.substr(0, 1));
      EXPECT_TRUE(weekday.size() == 1 ? momentOf(text) == moment : momentOf(text) > moment);
    }
  }
  EXPECT_EQ(cases, 34);
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
  // The zone; the last time before the gap, the first and the last in it, and the first after it.
  std::istringstream gaps(
      "Europe/Berlin 20240331015959 20240331020000 20240331025959 20240331030000 "
      "America/New_York 20240310015959 20240310020000 20240310025959 20240310030000 "
      "Australia/Lord_Howe 20241006015959 20241006020000 20241006022959 20241006023000 "
      "Pacific/Apia 20111229235959 20111230000000 20111230235959 20111231000000");
  int cases = 0;
  for (std::string name, before, first, last, after; gaps >> name >> before >> first >> last >> after;
       ++cases) {
    SCOPED_TRACE(name);
    const ScopedZone zone(name.c_str());
    EXPECT_FALSE(parses(first));
    EXPECT_FALSE(parses(last));
    EXPECT_EQ(KWTime::differenceOfDateA_AndDateB(after, before), 1);
    EXPECT_EQ(KWTime::addSec_OnDate(1, before), after);
    EXPECT_EQ(KWTime::addSec_OnDate(-1, after), before);
  }
  EXPECT_EQ(cases, 4);
}

TEST(KWTime, OnlyFourteenDigitsThatNameAMomentParse) {
  const ScopedZone zone("UTC");
  for (const char* text : {"20240229235959", "00010101000000", "99991231235959"}) {
    EXPECT_TRUE(parses(text)) << text;
  }
  std::vector<std::string> refused = {"", "20240305140709 ", " 2024030514070", "2024030514070\0"s};
  std::istringstream more(
      "2024030514070 202403051407099 +2024030514070 2024-3-5140709 20241305140709 20240005140709 "
      "20240230000000 20230229000000 19000229000000 20240431000000 20240300000000 20240305240000 "
      "20240305146000 20240305140760 00000101000000 ２０２４０３０５１４０７０９ 2024030514070x "
      "１0240305140");
  for (std::string text; more >> text;) refused.push_back(text);
  for (const std::string& text : refused) {
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
