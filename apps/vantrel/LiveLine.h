#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "vantrel/player/PlayerEvents.h"

/// The one line that shows what plays. Pure text; widths go by the user's character types (`setlocale`).
namespace app {

/// What there is to show.
struct Playing {
  std::string title;
  std::uint64_t state = vantrel::player::Stopped;
  std::uint64_t mode = vantrel::player::ListLoop;
  std::int64_t position = 0;
  std::int64_t count = 0;
  std::string now;  ///< times as text
  std::string end;
  double fraction = 0;
  std::vector<float> decibels;  ///< level of each channel, 0 at full scale
  float volume = 0;
};

/// How it is shown.
struct LineStyle {
  int columns = 80;
  bool unicode = true;
  bool colours = false;
};

/// The text with what has no width of its own (control characters, invalid bytes) replaced by "?".
std::string printable(std::string_view text);

/// Columns that a printable text takes.
int columnsOf(std::string_view text);

/// The longest beginning of a printable text that fits, with an ellipsis where something is left out.
std::string shortened(const std::string& text, int columns, bool unicode);

/// The name of a play mode.
std::string modeName(std::uint64_t mode);

/// The line, at most `columns` - 1 wide so that no terminal wraps it; the less room, the fewer parts.
std::string liveLine(const Playing& playing, const LineStyle& style);

}  // namespace app
