#include <algorithm>
#include <limits>
#include <numeric>

#include "apps/vantrel/Commands.h"
#include "apps/vantrel/Input.h"
#include "apps/vantrel/Output.h"
#include "vantrel/base/NumberText.h"
#include "vantrel/system/KWSort.h"
#include "vantrel/system/sort.h"

namespace app {
namespace {

constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";

/// The integers of the text; absent, with a message, when a word is none.
std::optional<std::vector<int>> parseIntegers(std::string_view text) {
  std::vector<int> numbers;
  for (std::size_t at = text.find_first_not_of(kWhiteSpace); at != std::string_view::npos;) {
    const std::size_t end = std::min(text.find_first_of(kWhiteSpace, at), text.size());
    std::string_view word = text.substr(at, end - at);
    if (word.size() > 1 && word[0] == '+' && word[1] != '-') word.remove_prefix(1);
    const auto number = vantrel::text::parseNumber<int>(word);
    if (!number) {
      message("not an integer of 32 bits: " +
              std::string(text.substr(at, std::min<std::size_t>(end - at, 60))));
      return std::nullopt;
    }
    numbers.push_back(*number);
    at = text.find_first_not_of(kWhiteSpace, end);
  }
  return numbers;
}

int sort(const std::string& path, bool descending) {
  const auto text = readAll(path);
  if (!text) return kFailed;
  auto numbers = parseIntegers(text->text());
  if (!numbers) return kFailed;
  if (numbers->size() > std::numeric_limits<int>::max()) return failed("more numbers than can be sorted");
  const int last = static_cast<int>(numbers->size()) - 1;
  (descending ? DescendingSort : AscendingSort)(numbers->data(), 0, last);
  const bool written = std::all_of(numbers->begin(), numbers->end(),
                                   [](int number) { return writeLine(std::to_string(number)); });
  return written ? kDone : kFailed;
}

std::vector<std::string_view> linesOf(std::string_view text) {
  std::vector<std::string_view> lines;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    lines.push_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

int shuffle(const std::string& path) {
  const auto text = readAll(path);
  if (!text) return kFailed;
  const auto lines = linesOf(text->text());
  // Positions are shuffled in place of the lines, so that equal lines and text that is not UTF-8 do not
  // matter.
  std::vector<std::int64_t> order(lines.size());
  std::iota(order.begin(), order.end(), 0);
  for (const std::int64_t position : vantrel::KWSort::arrayRandom(order))
    if (!writeLine(lines[static_cast<std::size_t>(position)])) return kFailed;
  return kDone;
}

}  // namespace

void registerListCommands(Command& program) {
  Command sorting = program.add("sort", "Integers in order, one a line",
                                "echo 3 -1 2 | vantrel sort\n"
                                "vantrel sort --descending numbers.txt");
  const auto numbers =
      sorting.argument("FILE", "the integers, between white space; - or none: standard input", "-");
  const auto descending = sorting.flag("--descending", "largest first");
  sorting.run([=] { return sort(*numbers, *descending); });

  Command shuffling =
      program.add("shuffle", "Lines in random order", "vantrel shuffle songs.txt\nls | vantrel shuffle");
  const auto file = shuffling.argument("FILE", "the lines; - or none: standard input", "-");
  shuffling.run([=] { return shuffle(*file); });
}

}  // namespace app
