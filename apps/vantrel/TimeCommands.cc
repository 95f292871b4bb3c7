#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "apps/vantrel/Commands.h"
#include "apps/vantrel/Input.h"
#include "apps/vantrel/Output.h"
#include "apps/vantrel/Terminal.h"
#include "vantrel/system/KWTime.h"

namespace app {
namespace {

using vantrel::KWTime;
using vantrel::ValueTree;

constexpr const char* kNotTime = "not a time yyyyMMddHHmmss: ";
const std::string kTimeHelp = "a time of 14 digits; -: standard input";

int now(bool json) {
  if (!json) return writeLine(KWTime::dateString()) ? kDone : kFailed;
  const auto both = ValueTree::dictionary({{"unix", KWTime::dateCurrent()}, {"text", KWTime::dateString()}});
  return writeJson(both) ? kDone : kFailed;
}

int add(const std::string& seconds, const std::string& start) {
  const auto number = parseNumber(seconds);
  if (!number) return wrongUsage("SECONDS must be a number: " + seconds);
  const auto time = textOf(start);
  if (!time) return kFailed;
  const auto moved = KWTime::addSec_OnDate(*number, *time);
  if (!moved && KWTime::addSec_OnDate(0, *time))
    return failed("SECONDS leads out of the calendar: " + seconds);
  if (!moved) return failed(kNotTime + *time);
  return writeLine(*moved) ? kDone : kFailed;
}

int difference(const std::string& later, const std::string& earlier) {
  const auto a = textOf(later);
  const auto b = textOf(earlier);
  if (!a || !b) return kFailed;
  const double seconds = KWTime::differenceOfDateA_AndDateB(*a, *b);
  if (!std::isfinite(seconds)) return failed(kNotTime + (KWTime::addSec_OnDate(0, *a) ? *b : *a));
  char text[32];
  std::snprintf(text, sizeof text, "%.15g", seconds);
  return writeLine(text) ? kDone : kFailed;
}

std::optional<vantrel::Date> dateOf(const std::string& time) {
  const auto members = KWTime::divideDateMembers(time);
  if (!members || !KWTime::addSec_OnDate(0, time)) return std::nullopt;
  const auto number = [&](std::size_t index) { return std::atoi((*members)[index].c_str()); };
  return KWTime::makeDateYear_Month_Day_Hour_Min_Sec(number(0), number(1), number(2), number(3), number(4),
                                                     number(5));
}

/// Weeks begin on Sunday; on a terminal the day stands out.
int showMonth(vantrel::Date date) {
  static constexpr const char* kNames[] = {"January",   "February", "March",    "April",
                                           "May",       "June",     "July",     "August",
                                           "September", "October",  "November", "December"};
  constexpr int kWidth = 20;
  const bool marked = stylesWanted();
  const std::string title = kNames[KWTime::month(date) - 1] + (" " + std::to_string(KWTime::year(date)));
  std::string text = std::string((kWidth - title.size()) / 2, ' ') + title + "\nSu Mo Tu We Th Fr Sa\n";
  const std::int64_t empty = KWTime::firstWeekdayInThisMonth(date);
  const std::int64_t days = KWTime::totaldaysInMonth(date);
  text += std::string(static_cast<std::size_t>(empty) * 3, ' ');
  for (std::int64_t day = 1; day <= days; ++day) {
    char cell[8];
    std::snprintf(cell, sizeof cell, "%2d", static_cast<int>(day));
    text += marked && day == KWTime::day(date) ? std::string("\033[7m") + cell + "\033[0m" : cell;
    text += (empty + day) % 7 == 0 || day == days ? "\n" : " ";
  }
  return write(text) ? kDone : kFailed;
}

int month(const std::optional<std::string>& time, bool json) {
  const auto text = textOf(time.value_or(KWTime::dateString()));
  if (!text) return kFailed;
  const auto date = dateOf(*text);
  if (!date) return failed(kNotTime + *text);
  if (!json) return showMonth(*date);
  const auto fields = ValueTree::dictionary({{"year", KWTime::year(*date)},
                                             {"month", KWTime::month(*date)},
                                             {"day", KWTime::day(*date)},
                                             {"weekday", KWTime::weekday(*date)},
                                             {"firstWeekday", KWTime::firstWeekdayInThisMonth(*date)},
                                             {"days", KWTime::totaldaysInMonth(*date)}});
  return writeJson(fields) ? kDone : kFailed;
}

int duration(const std::string& argument) {
  const auto text = textOf(argument);
  if (!text) return kFailed;
  const auto seconds = parseUnsigned(*text);
  if (!seconds || *seconds > UINT32_MAX)
    return wrongUsage("SECONDS must be a number from 0 to 4294967295: " + *text);
  return writeLine(KWTime::stringFromSec(static_cast<std::uint32_t>(*seconds))) ? kDone : kFailed;
}

}  // namespace

void registerTimeCommands(Command& program) {
  Command time = program.add("time", "Times as 14 digits, yyyyMMddHHmmss in local time",
                             "vantrel time now\n"
                             "vantrel time add -3600 20240305140709\n"
                             "vantrel time month 20240305140709");

  Command current = time.add("now", "The current time", "vantrel time now");
  const auto nowJson = current.flag("--json", "print it as JSON, with the Unix time");
  current.run([=] { return now(*nowJson); });

  Command adding =
      time.add("add", "A time moved by seconds", "vantrel time add 1 20231231235959   # 20240101000000");
  const auto seconds = adding.argument("SECONDS", "how far, back when negative");
  const auto start = adding.argument("TIME14", "from when; -: standard input");
  adding.run([=] { return add(*seconds, *start); });

  Command gap =
      time.add("diff", "Seconds from B to A", "vantrel time diff 20240101000100 20240101000000   # 60");
  const auto a = gap.argument("A", kTimeHelp);
  const auto b = gap.argument("B", kTimeHelp);
  gap.run([=] { return difference(*a, *b); });

  Command grid = time.add("month", "The calendar of a time's month",
                          "vantrel time month 20240305140709\nvantrel time month");
  const auto when = grid.optionalArgument("TIME14", kTimeHelp + ", none: now");
  const auto gridJson =
      grid.flag("--json", "print the fields as JSON; weekday 1 and firstWeekday 0 are Sunday");
  grid.run([=] { return month(*when, *gridJson); });

  Command length =
      time.add("duration", "Seconds as mm:ss or h:mm:ss", "vantrel time duration 3661   # 01:01:01");
  const auto count = length.argument("SECONDS", "0 to 4294967295; -: standard input");
  length.run([=] { return duration(*count); });
}

}  // namespace app
