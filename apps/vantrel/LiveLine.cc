#include "apps/vantrel/LiveLine.h"

#include <wchar.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>

#include "vantrel/base/Utf8.h"

namespace app {
namespace {

namespace player = vantrel::player;

constexpr int kLeastTitle = 12;
constexpr int kLeastBar = 10;
constexpr int kWidestBar = 60;
constexpr float kSilence = -48;  // decibels below which the meter shows nothing

constexpr const char* kPlain = "\033[0m";
constexpr const char* kDim = "\033[2m";
constexpr const char* kGreen = "\033[32m";
constexpr const char* kYellow = "\033[33m";

struct Character {
  std::string_view bytes;
  int columns;  // negative: cannot be shown
};

/// Cuts the first character off a text that is valid UTF-8.
Character nextCharacter(std::string_view& text) {
  const auto lead = static_cast<unsigned char>(text[0]);
  const std::size_t length = lead < 0x80 ? 1 : lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : 4;
  const std::string_view bytes = text.substr(0, length);
  text.remove_prefix(bytes.size());
  wchar_t code = length == 1 ? lead : lead & (0xff >> (length + 1));
  for (const char c : bytes.substr(1)) code = (code << 6) | (c & 0x3f);
  return {bytes, wcwidth(code)};
}

std::string repeated(std::string_view text, int times) {
  std::string all;
  for (int i = 0; i < times; ++i) all += text;
  return all;
}

std::string styled(const std::string& text, const char* how, const LineStyle& style) {
  return style.colours && !text.empty() ? how + text + kPlain : text;
}

std::string bar(double fraction, int columns, const LineStyle& style) {
  const double part = std::isfinite(fraction) ? std::clamp(fraction, 0.0, 1.0) : 0;
  const int done = static_cast<int>(std::lround(part * columns));
  return styled(repeated(style.unicode ? "━" : "=", done), kGreen, style) +
         styled(repeated(style.unicode ? "─" : "-", columns - done), kDim, style);
}

/// One character a channel, two in all.
std::string meter(const std::vector<float>& decibels, const LineStyle& style) {
  static constexpr std::array kBlocks = {" ", "▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
  static constexpr std::array kSigns = {" ", ".", ":", "-", "=", "+", "*", "%", "#"};
  std::string text;
  for (std::size_t channel = 0; channel < 2; ++channel) {
    const float level = decibels.empty() ? kSilence : decibels[std::min(channel, decibels.size() - 1)];
    const float part = std::isfinite(level) ? std::clamp((level - kSilence) / -kSilence, 0.0F, 1.0F) : 0;
    const auto step = static_cast<std::size_t>(std::lround(part * 8));
    text += (style.unicode ? kBlocks : kSigns)[step];
  }
  return styled(text, kYellow, style);
}

std::string symbol(std::uint64_t state, const LineStyle& style) {
  if (state == player::Playing) return style.unicode ? "▶" : ">";
  if (state == player::Paused) return style.unicode ? "⏸" : "|";
  return style.unicode ? "■" : ".";
}

std::string percent(float volume) {
  const float part = std::isfinite(volume) ? std::clamp(volume, 0.0F, 1.0F) : 0;
  return std::to_string(std::lround(part * 100)) + "%";
}

/// Takes room for a part when there is enough.
bool take(int& room, int columns) {
  if (room < columns) return false;
  room -= columns;
  return true;
}

int width(std::string_view text) { return static_cast<int>(text.size()); }

}  // namespace

std::string printable(std::string_view text) {
  const std::string valid = vantrel::text::utf8(vantrel::text::utf16(text));
  std::string shown;
  for (std::string_view rest = valid; !rest.empty();) {
    const Character character = nextCharacter(rest);
    shown += character.columns < 0 ? "?" : character.bytes;
  }
  return shown;
}

int columnsOf(std::string_view text) {
  int columns = 0;
  while (!text.empty()) columns += std::max(nextCharacter(text).columns, 0);
  return columns;
}

std::string shortened(const std::string& text, int columns, bool unicode) {
  if (columnsOf(text) <= columns) return text;
  const std::string_view ellipsis = unicode ? "…" : "~";
  if (columns < 1) return "";
  std::string kept;
  int room = columns - 1;
  for (std::string_view rest = text; !rest.empty();) {
    const Character character = nextCharacter(rest);
    if (!take(room, std::max(character.columns, 0))) break;
    kept += character.bytes;
  }
  return kept.append(ellipsis);
}

std::string modeName(std::uint64_t mode) {
  switch (mode) {
    case player::ListLoop:
      return "loop";
    case player::RepeatOne:
      return "repeat";
    case player::Shuffle:
      return "shuffle";
    case player::ListOnce:
      return "once";
    default:
      return "mode " + std::to_string(mode);
  }
}

std::string liveLine(const Playing& playing, const LineStyle& style) {
  const std::string title = printable(playing.title);
  const std::string place = std::to_string(playing.position + 1) + "/" + std::to_string(playing.count);
  const std::string mode = modeName(playing.mode);
  const std::string volume = percent(playing.volume);
  const int wholeTitle = columnsOf(title);

  int room = style.columns - 1;
  if (!take(room, 2)) return "";
  int titleRoom = std::min({wholeTitle, kLeastTitle, room});
  room -= titleRoom;
  const bool showTimes = take(room, width(playing.now) + width(playing.end) + 3);
  const bool showBar = showTimes && take(room, kLeastBar + 1);
  const bool showMeter = showBar && take(room, 4);
  const bool showPlace = showMeter && take(room, width(place) + 1);
  const bool showMode = showPlace && take(room, width(mode) + 2);
  const bool showVolume = showMode && take(room, width(volume) + 2);
  const int more = std::min(room, wholeTitle - titleRoom);
  titleRoom += more;
  room -= more;

  std::string line = symbol(playing.state, style) + " ";
  if (showPlace) line += styled(place, kDim, style) + " ";
  line += shortened(title, titleRoom, style.unicode);
  if (showBar)
    line += "  " + playing.now + " " + bar(playing.fraction, std::min(kLeastBar + room, kWidestBar), style) +
            " " + playing.end;
  else if (showTimes)
    line += "  " + playing.now + "/" + playing.end;
  if (showMeter) line += "  " + meter(playing.decibels, style);
  if (showMode) line += "  " + mode;
  if (showVolume) line += "  " + volume;
  return line;
}

}  // namespace app
