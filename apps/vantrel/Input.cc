#include "apps/vantrel/Input.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstring>
#include <limits>
#include <span>

#include "apps/vantrel/Output.h"
#include "vantrel/base/NumberText.h"
#include "vantrel/base/io/Files.h"

namespace app {
namespace {

/// A file or standard input, open for reading. That it cannot be opened is told. Unlike the library, a user
/// who names a pipe means to wait for who writes to it.
class Source {
 public:
  explicit Source(const std::string& path) {
    if (path == "-") return;
    own_ = vantrel::Descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    descriptor_ = own_.get();
    if (!own_) message(path + ": " + std::strerror(errno));
  }

  explicit operator bool() const { return descriptor_ >= 0; }
  int descriptor() const { return descriptor_; }

 private:
  vantrel::Descriptor own_;
  int descriptor_ = STDIN_FILENO;
};

}  // namespace

bool readPieces(const std::string& path, const std::function<bool(const vantrel::Bytes&)>& take) {
  const Source source(path);
  if (!source) return false;
  const auto read = vantrel::files::readPieces(source.descriptor(), [&](std::span<const std::uint8_t> piece) {
    return take(vantrel::Bytes::sharing(piece, nullptr));
  });
  if (!read) message(nameOfInput(path) + ": " + read.error().description());
  return read.has_value();
}

std::optional<vantrel::Bytes> readAll(const std::string& path) {
  return readAtMost(path, std::numeric_limits<std::uint64_t>::max());
}

std::optional<vantrel::Bytes> readAtMost(const std::string& path, std::uint64_t most) {
  const Source source(path);
  if (!source) return std::nullopt;
  auto contents = vantrel::files::readRest(source.descriptor(), most);
  if (contents) return *std::move(contents);
  const bool tooLarge = contents.error() == vantrel::Error::ofSystem(EFBIG);
  message(nameOfInput(path) + ": " +
          (tooLarge ? "too large: more than " + std::to_string(most) + " bytes"
                    : contents.error().description()));
  return std::nullopt;
}

std::optional<std::string> textOf(const std::string& argument) {
  if (argument != "-") return argument;
  const auto contents = readAll(argument);
  if (!contents) return std::nullopt;
  std::string text(contents->text());
  if (text.ends_with('\n')) text.pop_back();
  if (text.ends_with('\r')) text.pop_back();
  return text;
}

std::optional<std::uint64_t> sizeOfInput(const std::string& path) {
  struct stat status {};
  const bool standard = path == "-";
  if ((standard ? fstat(STDIN_FILENO, &status) : stat(path.c_str(), &status)) != 0) return std::nullopt;
  // What the kernel makes up on the fly has the size 0.
  if (!S_ISREG(status.st_mode) || status.st_size == 0) return std::nullopt;
  const off_t from = standard ? lseek(STDIN_FILENO, 0, SEEK_CUR) : 0;
  if (from < 0) return std::nullopt;
  return from < status.st_size ? static_cast<std::uint64_t>(status.st_size - from) : 0;
}

std::string nameOfInput(const std::string& path) { return path == "-" ? "standard input" : path; }

std::optional<std::uint64_t> parseUnsigned(const std::string& text) {
  if (text.starts_with("0x") || text.starts_with("0X"))
    return vantrel::text::parseNumber<std::uint64_t>(std::string_view(text).substr(2), 16);
  return vantrel::text::parseNumber<std::uint64_t>(text);
}

std::optional<std::int64_t> parseSigned(const std::string& text) {
  return vantrel::text::parseNumber<std::int64_t>(text);
}

std::optional<double> parseNumber(const std::string& text) {
  const auto value = vantrel::text::parseNumber<double>(text);
  return value && std::isfinite(*value) ? value : std::nullopt;
}

}  // namespace app
