#include "apps/vantrel/Input.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
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
  const auto tell = [&] { message((standard ? "standard input" : path) + ": " + std::strerror(errno)); };
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
