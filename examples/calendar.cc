// The calendar of a month in local time: calendar 2024 2
#include <iomanip>
#include <iostream>

#include "vantrel/base/NumberText.h"
#include "vantrel/system/KWTime.h"

using namespace vantrel;

int main(int count, char** arguments) {
  if (count != 3) return 2;
  const auto year = text::parseNumber<int>(arguments[1]);
  const auto month = text::parseNumber<int>(arguments[2]);
  const auto first =
      year && month ? KWTime::makeDateYear_Month_Day_Hour_Min_Sec(*year, *month, 1, 12, 0, 0) : std::nullopt;
  if (!first) return std::cerr << "no such month\n", 1;

  std::cout << "Su Mo Tu We Th Fr Sa\n";
  std::int64_t column = KWTime::firstWeekdayInThisMonth(*first);
  std::cout << std::string(static_cast<std::size_t>(3 * column), ' ');
  for (std::int64_t day = 1; day <= KWTime::totaldaysInMonth(*first); ++day, ++column) {
    if (column == 7) std::cout << '\n', column = 0;
    std::cout << std::setw(2) << day << ' ';
  }
  std::cout << '\n';
}
