#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "vantrel/base/Date.h"
#include "vantrel/base/Export.h"
#include "vantrel/base/TextArgument.h"

namespace vantrel {

/// Calendar helpers: moments, their fields in local time, and the 14-digit time text.
///
/// Time text is "yyyyMMddHHmmss" in local time: 20240305140709 is 5 March 2024, 14:07:09. Only ASCII digits
/// count, every field must be in its range (years 0001 to 9999, hours 00 to 23, seconds 00 to 59, days that
/// the month has) and nothing may stand before or after; any other text "does not parse".
///
/// Calendar: Gregorian, carried on unchanged before 1582 (ISO 8601). Fields of a moment with a fraction are
/// those of the second that it lies in, before 1970 too. A moment outside the years -9999 to 9999, an
/// infinite one and NaN have no fields: the readers give 0 and the movers give the moment back unchanged.
///
/// Local time zone: that of the C library (the variable TZ, else /etc/localtime). A change of TZ counts from
/// the next call on.
///
/// Daylight saving, reading local times: a local time that a change of the clock skips names no moment and
/// does not parse; one that occurs twice is the later of the two moments (the one after the change).
///
/// Threads: any; what is remembered of the zone is shared without a lock. As everywhere, TZ must not be
/// changed while another thread reads it.
class VANTREL_EXPORT KWTime {
 public:
  /// Year, month, day, hour, minute, second.
  using MemberList = std::array<std::string, 6>;

  KWTime() = delete;

  /// The current time in whole seconds since 1970, truncated toward zero.
  static std::int64_t dateCurrent();

  /// The members of the current local time, zero-padded: the year to four digits, the others to two.
  static MemberList dateMembers();

  /// The moment of these local members. Absent unless they name one: month 13, hour 24, second 60, 30
  /// February, a negative value, a year outside 1 to 9999, a skipped local time.
  static std::optional<Date> makeDateYear_Month_Day_Hour_Min_Sec(std::int32_t year, std::int32_t month,
                                                                 std::int32_t day, std::int32_t hour,
                                                                 std::int32_t minute, std::int32_t second);

  /// Cuts a text of exactly 14 characters (UTF-16 code units) at 4, 6, 8, 10 and 12, whatever they are;
  /// absent for any other length. "20240305140709" gives 2024, 03, 05, 14, 07, 09.
  static std::optional<MemberList> divideDateMembers(TextArgument timeText);

  /// The current local time as time text.
  static std::string dateString();

  /// The time text of a moment moved by `seconds`, which may be negative or fractional (the result shows the
  /// second that the moment lies in). Seconds are counted on the time line, so across a change of the clock
  /// the result shows the new local time. Absent when the text does not parse, and when the result lies
  /// outside the years 1 to 9999 or `seconds` is NaN.
  static std::optional<std::string> addSec_OnDate(double seconds, TextArgument timeText);

  /// A - B in seconds, positive when A is later. NaN when either text does not parse: no comparison with it
  /// holds, so test for what is wanted (`> 0`), not for its opposite.
  static double differenceOfDateA_AndDateB(TextArgument timeTextA, TextArgument timeTextB);

  /// A - B in seconds.
  static double gapOfDateA_DateB(Date dateA, Date dateB);

  static std::int64_t day(Date date);      ///< day of the month, 1 to 31
  static std::int64_t month(Date date);    ///< 1 to 12
  static std::int64_t year(Date date);     ///< 0 is the year before 1
  static std::int64_t weekday(Date date);  ///< 1 Sunday to 7 Saturday

  /// The weekday of the first day of the date's month, 0 Sunday to 6 Saturday: the empty cells before day 1
  /// in a grid whose weeks start on Sunday. A date without fields gives 0.
  static std::int64_t firstWeekdayInThisMonth(Date date);

  /// Days in the date's month, 28 to 31.
  static std::int64_t totaldaysInMonth(Date date);

  /// The date moved by calendar months, back when negative. The local clock time stays, and the day of the
  /// month where the target month has it, else its last day: 31 January and one month is 28 or 29 February. A
  /// local time that the target day skips is moved past the gap by its length; of one that occurs twice the
  /// result is that with the UTC offset of `date`, else the later. A target outside the years -9999 to 9999
  /// gives the date unchanged.
  static Date changeMonth_onDate(std::int32_t months, Date date);

  /// The date moved by calendar days: the local clock time stays across changes of the clock. Skipped and
  /// double local times and the limits as for months.
  static Date changeDay_onDate(std::int32_t days, Date date);

  /// A length of time as mm:ss, from one hour on as h:mm:ss with at least two digits each: 65 gives 01:05,
  /// 3600 gives 01:00:00, 360000 gives 100:00:00.
  static std::string stringFromSec(std::uint32_t seconds);

  /// The number in decimal, with a zero before a single digit: 7 gives 07, 123 gives 123.
  static std::string textSec(std::uint32_t number);
};

}  // namespace vantrel
