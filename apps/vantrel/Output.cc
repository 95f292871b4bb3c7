#include "apps/vantrel/Output.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "apps/vantrel/Command.h"
#include "vantrel/base/Utf8.h"
#include "vantrel/codec/KWTools.h"
#include "vantrel/data/Json.h"

namespace app {
namespace {

int failure = 0;  // errno of the first failed write

bool keep(bool written) {
  if (!written && failure == 0) failure = errno;
  return failure == 0;
}

/// Bytes of the UTF-8 character that the text begins with; 0 when it begins with none.
std::size_t lengthOfCharacter(std::string_view text) {
  for (std::size_t length = 1; length <= std::min<std::size_t>(text.size(), 4); ++length)
    if (vantrel::text::isValidUtf8(text.substr(0, length))) return length;
  return 0;
}

bool isControl(std::string_view character) {
  const auto last = static_cast<unsigned char>(character.back());
  if (character.size() == 1) return last < 0x20 || last == 0x7f;
  return character.size() == 2 && character[0] == '\xc2' && last < 0xa0;
}

std::string dateText(vantrel::Date date) {
  double whole = std::floor(date.secondsSince1970);
  if (!(std::fabs(whole) < 1e15)) return "out of range";
  long microseconds = std::lround((date.secondsSince1970 - whole) * 1e6);
  if (microseconds == 1'000'000) {
    microseconds = 0;
    whole += 1;
  }
  const auto seconds = static_cast<std::time_t>(whole);
  std::tm fields{};
  char text[64] = "";
  if (gmtime_r(&seconds, &fields) == nullptr || std::strftime(text, sizeof text, "%FT%T", &fields) == 0)
    return "out of range";
  char fraction[32] = "";
  if (microseconds > 0) std::snprintf(fraction, sizeof fraction, ".%06ld", microseconds);
  return std::string(text) + fraction + "Z";
}

}  // namespace

void prepareStreams() {
  // Opened the wrong way round, so that using them still fails.
  for (int descriptor = 0; descriptor <= 2; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) == -1) {
      [[maybe_unused]] const int opened = open("/dev/null", descriptor == 0 ? O_WRONLY : O_RDONLY);
    }
  }
  std::signal(SIGPIPE, SIG_IGN);
}

bool write(std::string_view text) {
  if (text.empty()) return failure == 0;  // its pointer may be null
  return keep(std::fwrite(text.data(), 1, text.size(), stdout) == text.size());
}

bool writeLine(std::string_view line) { return write(std::string(line) + "\n"); }

bool flushOutput() { return keep(std::fflush(stdout) == 0); }

int finishOutput(int status) {
  if (flushOutput()) return status;
  if (failure != EPIPE) message(std::string("standard output: ") + std::strerror(failure));
  return kFailed;
}

std::string escaped(std::string_view text) {
  std::string shown;
  while (!text.empty()) {
    const std::string_view character = text.substr(0, lengthOfCharacter(text));
    if (character.empty() || isControl(character)) {
      char code[8];
      std::snprintf(code, sizeof code, "\\x%02x", static_cast<unsigned char>(text[0]));
      shown += code;
      text.remove_prefix(1);
    } else {
      shown += character;
      text.remove_prefix(character.size());
    }
  }
  return shown;
}

void message(std::string_view text) { logLine("vantrel: " + std::string(text)); }

void logLine(std::string_view line) { std::fputs((escaped(line) + "\n").c_str(), stderr); }

int failed(std::string_view text) {
  message(text);
  return kFailed;
}

int wrongUsage(std::string_view text) {
  message(text);
  return kWrongUsage;
}

vantrel::ValueTree asJson(const vantrel::ValueTree& value) {
  using Kind = vantrel::ValueTree::Kind;
  switch (value.kind()) {
    case Kind::Floating:
      return std::isfinite(*value.asDouble()) ? value : vantrel::ValueTree();
    case Kind::Date:
      return dateText(*value.asDate());
    case Kind::Data:
      return vantrel::KWTools::dataToHex(*value.asData());
    case Kind::List: {
      auto list = vantrel::ValueTree::list();
      for (const auto& item : value.items()) list.append(asJson(item));
      return list;
    }
    case Kind::Dictionary: {
      auto dictionary = vantrel::ValueTree::dictionary();
      for (const auto& member : value.members()) dictionary.set(member.key(), asJson(member.value()));
      return dictionary;
    }
    default:
      return value;
  }
}

vantrel::ValueTree nameAsJson(std::string_view name) {
  if (vantrel::text::isValidUtf8(name)) return name;
  return vantrel::ValueTree::dictionary({{"hex", vantrel::KWTools::dataToHex(vantrel::Bytes::copyOf(name))}});
}

bool writeJson(const vantrel::ValueTree& value) {
  const auto text = vantrel::json::writePretty(asJson(value));
  if (!text) message("cannot be written as JSON: " + text.error().description());
  return text && writeLine(*text);
}

bool writeJsonLine(const vantrel::ValueTree& value) {
  const auto text = vantrel::json::writeCompact(asJson(value));
  if (!text) message("cannot be written as JSON: " + text.error().description());
  return text && writeLine(*text);
}

}  // namespace app
