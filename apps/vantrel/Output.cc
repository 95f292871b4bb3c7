#include "apps/vantrel/Output.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "apps/vantrel/Command.h"
#include "vantrel/codec/KWTools.h"
#include "vantrel/platform/data/Json.h"

namespace app {
namespace {

int failure = 0;  // errno of the first failed write

bool keep(bool written) {
  if (!written && failure == 0) failure = errno;
  return failure == 0;
}

std::string dateText(vantrel::Date date) {
  const double whole = std::floor(date.secondsSince1970);
  if (!(std::fabs(whole) < 1e15)) return "out of range";
  const auto seconds = static_cast<std::time_t>(whole);
  std::tm fields{};
  char text[64] = "";
  if (gmtime_r(&seconds, &fields) == nullptr || std::strftime(text, sizeof text, "%FT%T", &fields) == 0)
    return "out of range";
  char fraction[16] = "";
  const double rest = date.secondsSince1970 - whole;
  if (rest > 0) std::snprintf(fraction, sizeof fraction, ".%06d", static_cast<int>(rest * 1e6));
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
  if (failure != EPIPE && failure != EBADF)
    message(std::string("standard output: ") + std::strerror(failure));
  return kFailed;
}

void message(std::string_view text) {
  std::fprintf(stderr, "vantrel: %.*s\n", static_cast<int>(text.size()), text.data());
}

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

bool writeJson(const vantrel::ValueTree& value) {
  const auto text = vantrel::json::writePretty(asJson(value));
  if (!text) message("the value cannot be written as JSON");
  return text && writeLine(*text);
}

bool writeJsonLine(const vantrel::ValueTree& value) {
  const auto text = vantrel::json::writeCompact(asJson(value));
  if (!text) message("the value cannot be written as JSON");
  return text && writeLine(*text);
}

}  // namespace app
