#include "apps/vantrel/Input.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <span>
#include <vector>

#include "apps/vantrel/Output.h"

namespace app {
namespace {

constexpr std::size_t kPiece = std::size_t{64} << 10;

/// A file or standard input, open for reading. What fails is told.
class Source {
 public:
  explicit Source(const std::string& path)
      : path_(path), descriptor_(path == "-" ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
    if (descriptor_ < 0) tell();
  }
  ~Source() {
    if (descriptor_ > STDIN_FILENO) close(descriptor_);
  }
  Source(const Source&) = delete;
  Source& operator=(const Source&) = delete;

  bool failed() const { return failed_; }

  /// Fills the room as far as there is input: pipes give less than is asked for. Gives how much there was.
  std::size_t fill(std::span<std::uint8_t> room) {
    std::size_t filled = 0;
    while (!failed_ && filled < room.size()) {
      const ssize_t count = read(descriptor_, room.data() + filled, room.size() - filled);
      if (count < 0 && errno != EINTR) tell();
      if (count == 0) break;
      if (count > 0) filled += static_cast<std::size_t>(count);
    }
    return filled;
  }

 private:
  void tell() {
    failed_ = true;
    message(nameOfInput(path_) + ": " + std::strerror(errno));
  }

  const std::string& path_;
  int descriptor_;
  bool failed_ = false;
};

/// Memory for contents of a length that only their end tells: enlarged in place where that is possible, and
/// not cleared before it is filled.
class Room {
 public:
  void enlarge(std::size_t size) {
    void* moved = std::realloc(memory_.get(), size);
    if (moved == nullptr) throw std::bad_alloc();
    static_cast<void>(memory_.release());
    memory_.reset(static_cast<std::uint8_t*>(moved));
    size_ = size;
  }

  std::size_t size() const { return size_; }
  std::span<std::uint8_t> behind(std::size_t filled) { return {memory_.get() + filled, size_ - filled}; }

  vantrel::Bytes take(std::size_t length) {
    if (length == 0) return {};
    enlarge(length);
    const std::shared_ptr<const std::uint8_t> owner(std::move(memory_));
    return vantrel::Bytes::sharing({owner.get(), length}, owner);
  }

 private:
  struct Free {
    void operator()(std::uint8_t* memory) const { std::free(memory); }
  };

  std::unique_ptr<std::uint8_t, Free> memory_;
  std::size_t size_ = 0;
};

template <typename T>
std::optional<T> parseWhole(std::string_view digits, int base) {
  T value{};
  const auto end = digits.data() + digits.size();
  const auto [rest, error] = std::from_chars(digits.data(), end, value, base);
  if (error != std::errc() || rest != end || digits.empty()) return std::nullopt;
  return value;
}

}  // namespace

bool readPieces(const std::string& path, const std::function<bool(const vantrel::Bytes&)>& take) {
  Source source(path);
  for (bool more = true; more && !source.failed();) {
    std::vector<std::uint8_t> piece(kPiece);
    piece.resize(source.fill(piece));
    more = piece.size() == kPiece;
    if (source.failed() || piece.empty() || !take(vantrel::Bytes(std::move(piece)))) break;
  }
  return !source.failed();
}

std::optional<vantrel::Bytes> readAll(const std::string& path) {
  return readAtMost(path, std::numeric_limits<std::uint64_t>::max());
}

std::optional<vantrel::Bytes> readAtMost(const std::string& path, std::uint64_t most) {
  const std::uint64_t expected = sizeOfInput(path).value_or(0);
  bool fits = expected <= most;
  std::optional<Source> source;
  Room room;
  std::size_t filled = 0;
  if (fits) source.emplace(path);
  while (fits && filled == room.size() && !source->failed()) {
    // A byte more than expected shows the end.
    room.enlarge(std::max(kPiece, filled == 0 ? expected + 1 : filled + filled / 2));
    filled += source->fill(room.behind(filled));
    fits = filled <= most;
  }
  if (!fits) message(nameOfInput(path) + ": too large: more than " + std::to_string(most) + " bytes");
  if (!fits || source->failed()) return std::nullopt;
  return room.take(filled);
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
    return parseWhole<std::uint64_t>(std::string_view(text).substr(2), 16);
  return parseWhole<std::uint64_t>(text, 10);
}

std::optional<std::int64_t> parseSigned(const std::string& text) {
  return parseWhole<std::int64_t>(text, 10);
}

std::optional<double> parseNumber(const std::string& text) {
  double value = 0;
  const auto end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc() || rest != end || !std::isfinite(value)) return std::nullopt;
  return value;
}

}  // namespace app
