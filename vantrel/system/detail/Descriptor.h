#pragma once

#include <unistd.h>

#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace vantrel::system::detail {

/// Owns a file descriptor; negative is none.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~Descriptor() {
    if (number_ >= 0) ::close(number_);
  }

  explicit operator bool() const { return number_ >= 0; }
  int get() const { return number_; }
  int release() { return std::exchange(number_, -1); }

 private:
  int number_ = -1;
};

/// The path as the system calls take it; absent when it is empty or a NUL byte would cut it short.
inline std::optional<std::string> systemPath(std::string_view path) {
  if (path.empty() || path.find('\0') != path.npos) return std::nullopt;
  return std::string(path);
}

}  // namespace vantrel::system::detail
