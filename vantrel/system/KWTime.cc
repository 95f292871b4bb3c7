#include "vantrel/system/KWTime.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>

#include "vantrel/base/Utf8.h"
#include "vantrel/loop/Clock.h"
#include "vantrel/system/detail/LocalZone.h"

namespace vantrel {
namespace {

using std::chrono::sys_days;
using std::chrono::year_month_day;
using system::detail::LocalZone;

constexpr std::int64_t kDay = 86'400;
constexpr std::size_t kTextLength = 14;

constexpr std::int64_t startOfYear(int year) {
  return sys_days{std::chrono::year{year} / 1 / 1}.time_since_epoch().count() * kDay;
}

// Bounds on the local clock.
constexpr std::int64_t kFirstText = startOfYear(1);
constexpr std::int64_t kEndOfTexts = startOfYear(10'000);
constexpr std::int64_t kFirstField = startOfYear(-9'999);

struct LocalTime {
  year_month_day date;
  int secondOfDay = 0;

  int year() const { return static_cast<int>(date.year()); }
  unsigned month() const { return static_cast<unsigned>(date.month()); }
  unsigned day() const { return static_cast<unsigned>(date.day()); }
  int hour() const { return secondOfDay / 3600; }
  int minute() const { return secondOfDay / 60 % 60; }
  int second() const { return secondOfDay % 60; }
};

LocalTime split(std::int64_t local) {
  const std::int64_t day = (local - (local < 0 ? kDay - 1 : 0)) / kDay;
  return {year_month_day{sys_days{std::chrono::days{day}}}, static_cast<int>(local - day * kDay)};
}

std::int64_t join(const year_month_day& date, std::int64_t secondOfDay) {
  return sys_days{date}.time_since_epoch().count() * kDay + secondOfDay;
}

// The second that the moment lies in. Absent where no zone could have fields for it; NaN fails the
// comparison.
std::optional<std::int64_t> wholeSeconds(double seconds) {
  constexpr double kLimit = 4e11;
  if (!(std::abs(seconds) < kLimit)) return std::nullopt;
  return static_cast<std::int64_t>(std::floor(seconds));
}

std::optional<std::int64_t> localSeconds(double secondsSince1970, const LocalZone& zone) {
  const auto moment = wholeSeconds(secondsSince1970);
  if (!moment) return std::nullopt;
  const std::int64_t local = *moment + zone.offsetAt(*moment);
  if (local < kFirstField || local >= kEndOfTexts) return std::nullopt;
  return local;
}

std::optional<LocalTime> fieldsOf(Date date) {
  const auto local = localSeconds(date.secondsSince1970, LocalZone::current());
  if (!local) return std::nullopt;
  return split(*local);
}

// What a wrongly set clock shows is clamped: the current time always has a text.
LocalTime localNow() {
  const double now = Clock::current().date().secondsSince1970;
  const auto local = localSeconds(now, LocalZone::current());
  return split(std::clamp(local.value_or(now > 0 ? kEndOfTexts : kFirstText), kFirstText, kEndOfTexts - 1));
}

void putDigits(char* end, unsigned number, int count) {
  while (count-- > 0) {
    *--end = static_cast<char>('0' + number % 10);
    number /= 10;
  }
}

std::string padded(unsigned number, int count) {
  std::string text(static_cast<std::size_t>(count), '0');
  putDigits(text.data() + text.size(), number, count);
  return text;
}

std::string textOf(const LocalTime& time) {
  std::string text(kTextLength, '0');
  putDigits(text.data() + 4, static_cast<unsigned>(time.year()), 4);
  putDigits(text.data() + 6, time.month(), 2);
  putDigits(text.data() + 8, time.day(), 2);
  putDigits(text.data() + 10, static_cast<unsigned>(time.hour()), 2);
  putDigits(text.data() + 12, static_cast<unsigned>(time.minute()), 2);
  putDigits(text.data() + 14, static_cast<unsigned>(time.second()), 2);
  return text;
}

bool within(std::int32_t value, std::int32_t least, std::int32_t most) {
  return value >= least && value <= most;
}

std::optional<std::int64_t> momentOf(std::int32_t year, std::int32_t month, std::int32_t day,
                                     std::int32_t hour, std::int32_t minute, std::int32_t second,
                                     const LocalZone& zone) {
  if (!within(year, 1, 9'999) || !within(month, 1, 12) || !within(day, 1, 31)) return std::nullopt;
  if (!within(hour, 0, 23) || !within(minute, 0, 59) || !within(second, 0, 59)) return std::nullopt;
  const year_month_day date{std::chrono::year{year}, std::chrono::month(static_cast<unsigned>(month)),
                            std::chrono::day(static_cast<unsigned>(day))};
  if (!date.ok()) return std::nullopt;
  const auto moments = zone.momentsOf(join(date, hour * 3600 + minute * 60 + second));
  if (moments.count == 0) return std::nullopt;
  return moments.later;
}

std::optional<std::int64_t> parse(std::string_view text, const LocalZone& zone) {
  if (text.size() != kTextLength) return std::nullopt;
  const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
  if (!std::all_of(text.begin(), text.end(), isDigit)) return std::nullopt;
  const auto two = [text](std::size_t at) { return (text[at] - '0') * 10 + (text[at + 1] - '0'); };
  return momentOf(two(0) * 100 + two(2), two(4), two(6), two(8), two(10), two(12), zone);
}

// Puts the local clock of `date` on another day.
Date moveTo(const year_month_day& day, int secondOfDay, Date date, const LocalZone& zone) {
  const std::int64_t start = *wholeSeconds(date.secondsSince1970);
  const std::int64_t local = join(day, secondOfDay);
  const auto moments = zone.momentsOf(local);
  std::int64_t moment = moments.count == 0 ? moments.byOffsetBefore : moments.later;
  if (moments.count == 2 && local - moments.earlier == zone.offsetAt(start)) moment = moments.earlier;
  const double fraction = date.secondsSince1970 - static_cast<double>(start);
  return {static_cast<double>(moment) + fraction};
}

}  // namespace

std::int64_t KWTime::dateCurrent() {
  const double now = Clock::current().date().secondsSince1970;
  if (std::isnan(now)) return 0;
  constexpr double kLimit = 0x1p63;
  if (now >= kLimit) return std::numeric_limits<std::int64_t>::max();
  if (now < -kLimit) return std::numeric_limits<std::int64_t>::min();
  return static_cast<std::int64_t>(now);
}

KWTime::MemberList KWTime::dateMembers() {
  const LocalTime now = localNow();
  return {padded(static_cast<unsigned>(now.year()), 4),
          padded(now.month(), 2),
          padded(now.day(), 2),
          padded(static_cast<unsigned>(now.hour()), 2),
          padded(static_cast<unsigned>(now.minute()), 2),
          padded(static_cast<unsigned>(now.second()), 2)};
}

std::optional<Date> KWTime::makeDateYear_Month_Day_Hour_Min_Sec(std::int32_t year, std::int32_t month,
                                                                std::int32_t day, std::int32_t hour,
                                                                std::int32_t minute, std::int32_t second) {
  const auto moment = momentOf(year, month, day, hour, minute, second, LocalZone::current());
  if (!moment) return std::nullopt;
  return Date{static_cast<double>(*moment)};
}

std::optional<KWTime::MemberList> KWTime::divideDateMembers(TextArgument timeText) {
  const std::u16string units = text::utf16(*timeText);
  if (units.size() != kTextLength) return std::nullopt;
  const auto cut = [&units](std::size_t at, std::size_t length) {
    return text::utf8(std::u16string_view(units).substr(at, length));
  };
  return MemberList{cut(0, 4), cut(4, 2), cut(6, 2), cut(8, 2), cut(10, 2), cut(12, 2)};
}

std::string KWTime::dateString() { return textOf(localNow()); }

std::optional<std::string> KWTime::addSec_OnDate(double seconds, TextArgument timeText) {
  const LocalZone zone = LocalZone::current();
  const auto moment = parse(*timeText, zone);
  if (!moment) return std::nullopt;
  const auto local = localSeconds(static_cast<double>(*moment) + seconds, zone);
  if (!local || *local < kFirstText) return std::nullopt;
  return textOf(split(*local));
}

double KWTime::differenceOfDateA_AndDateB(TextArgument timeTextA, TextArgument timeTextB) {
  const LocalZone zone = LocalZone::current();
  const auto a = parse(*timeTextA, zone);
  const auto b = parse(*timeTextB, zone);
  if (!a || !b) return std::numeric_limits<double>::quiet_NaN();
  return static_cast<double>(*a - *b);
}

double KWTime::gapOfDateA_DateB(Date dateA, Date dateB) {
  return dateA.secondsSince1970 - dateB.secondsSince1970;
}

std::int64_t KWTime::day(Date date) {
  const auto fields = fieldsOf(date);
  return fields ? fields->day() : 0;
}

std::int64_t KWTime::month(Date date) {
  const auto fields = fieldsOf(date);
  return fields ? fields->month() : 0;
}

std::int64_t KWTime::year(Date date) {
  const auto fields = fieldsOf(date);
  return fields ? fields->year() : 0;
}

std::int64_t KWTime::weekday(Date date) {
  const auto fields = fieldsOf(date);
  return fields ? std::chrono::weekday{sys_days{fields->date}}.c_encoding() + 1 : 0;
}

std::int64_t KWTime::firstWeekdayInThisMonth(Date date) {
  const auto fields = fieldsOf(date);
  if (!fields) return 0;
  return std::chrono::weekday{sys_days{fields->date.year() / fields->date.month() / 1}}.c_encoding();
}

std::int64_t KWTime::totaldaysInMonth(Date date) {
  const auto fields = fieldsOf(date);
  if (!fields) return 0;
  return static_cast<unsigned>((fields->date.year() / fields->date.month() / std::chrono::last).day());
}

Date KWTime::changeMonth_onDate(std::int32_t months, Date date) {
  const LocalZone zone = LocalZone::current();
  const auto local = localSeconds(date.secondsSince1970, zone);
  if (!local) return date;
  const LocalTime from = split(*local);
  const std::int64_t target = std::int64_t{from.year()} * 12 + from.month() - 1 + months;
  if (target < std::int64_t{-9'999} * 12 || target >= std::int64_t{10'000} * 12) return date;
  const std::int64_t year = (target - (target < 0 ? 11 : 0)) / 12;
  const auto month = std::chrono::year{static_cast<int>(year)} / static_cast<int>(target - year * 12 + 1);
  const auto day = std::min(from.date.day(), (month / std::chrono::last).day());
  return moveTo(month / day, from.secondOfDay, date, zone);
}

Date KWTime::changeDay_onDate(std::int32_t days, Date date) {
  const LocalZone zone = LocalZone::current();
  const auto local = localSeconds(date.secondsSince1970, zone);
  if (!local) return date;
  const std::int64_t target = *local + days * kDay;
  if (target < kFirstField || target >= kEndOfTexts) return date;
  const LocalTime to = split(target);
  return moveTo(to.date, to.secondOfDay, date, zone);
}

std::string KWTime::stringFromSec(std::uint32_t seconds) {
  std::string text = seconds < 3600 ? "" : textSec(seconds / 3600) + ":";
  text += textSec(seconds / 60 % 60);
  text += ':';
  return text += textSec(seconds % 60);
}

std::string KWTime::textSec(std::uint32_t number) {
  std::string text(number < 10 ? 1 : 0, '0');
  return text += std::to_string(number);
}

}  // namespace vantrel
