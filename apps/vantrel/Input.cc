#include "apps/vantrel/Input.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <new>
#include <vector>

#include "apps/vantrel/Output.h"

namespace app {
namespace {

constexpr std::size_t kPiece = std::size_t{64} << 10;

/// Fills the piece as far as there is input: pipes give less than is asked for. Negative when reading failed.
ssize_t fill(int descriptor, std::vector<std::uint8_t>& piece) {
  std::size_t filled = 0;
  while (filled < piece.size()) {
    const ssize_t count = read(descriptor, piece.data() + filled, piece.size() - filled);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return -1;
    if (count == 0) break;
    filled += static_cast<std::size_t>(count);
  }
  return static_cast<ssize_t>(filled);
}

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
  const bool standard = path == "-";
  const int descriptor = standard ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC);
  const auto tell = [&] { message(nameOfInput(path) + ": " + std::strerror(errno)); };
  if (descriptor < 0) {
    tell();
    return false;
  }
  ssize_t count = 0;
  do {
    std::vector<std::uint8_t> piece(kPiece);
    count = fill(descriptor, piece);
    if (count < 0) tell();
    if (count <= 0) break;
    piece.resize(static_cast<std::size_t>(count));
    if (!take(vantrel::Bytes(std::move(piece)))) break;
  } while (static_cast<std::size_t>(count) == kPiece);
  if (!standard) close(descriptor);
  return count >= 0;
}

std::optional<vantrel::Bytes> readAll(const std::string& path) {
  std::vector<std::uint8_t> contents;
  const bool read = readPieces(path, [&](const vantrel::Bytes& piece) {
    contents.insert(contents.end(), piece.begin(), piece.end());
    return true;
  });
  if (!read) return std::nullopt;
  return vantrel::Bytes(std::move(contents));
}

std::optional<vantrel::Bytes> readAtMost(const std::string& path, std::uint64_t most) try {
  const std::uint64_t expected = sizeOfInput(path).value_or(0);
  bool fits = expected <= most;
  bool read = true;
  std::vector<std::uint8_t> contents;
  if (fits) {
    contents.reserve(expected);
    read = readPieces(path, [&](const vantrel::Bytes& piece) {
      fits = piece.size() <= most - contents.size();
      if (fits) contents.insert(contents.end(), piece.begin(), piece.end());
      return fits;
    });
  }
  if (!fits) message(nameOfInput(path) + ": too large: more than " + std::to_string(most) + " bytes");
  if (!fits || !read) return std::nullopt;
  return vantrel::Bytes(std::move(contents));
} catch (const std::bad_alloc&) {
  message(nameOfInput(path) + ": not enough memory");
  return std::nullopt;
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
