#pragma once

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <string_view>

namespace vantrel::json::detail {

/// A text that grows; what is put has to be reserved before.
class Output {
 public:
  /// So many characters more than it was given `putSpaces` takes room for.
  static constexpr std::size_t kSpacesMore = 16;

  Output() = default;
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  void reserve(std::size_t size) {
    if (size > static_cast<std::size_t>(end_ - next_)) grow(size);
  }
  void put(char character) { *next_++ = character; }
  void put(std::string_view text) { next_ += text.copy(next_, text.size()); }
  void putSpaces(std::size_t count) {
    for (std::size_t i = 0; i < count; i += kSpacesMore) std::memset(next_ + i, ' ', kSpacesMore);
    next_ += count;
  }
  char* next() { return next_; }
  void advanceTo(char* next) { next_ = next; }

  std::string take() { return {begin(), static_cast<std::size_t>(next_ - begin())}; }

 private:
  struct Free {
    void operator()(char* memory) const noexcept { std::free(memory); }
  };

  char* begin() { return large_ != nullptr ? large_.get() : first_; }

  void grow(std::size_t size) {
    const auto used = static_cast<std::size_t>(next_ - begin());
    const std::size_t capacity = used * 2 + size;
    // Memory that is new costs more than anything that is written to it, and `realloc` asks for the least.
    char* const memory = static_cast<char*>(std::realloc(large_.get(), capacity));
    if (memory == nullptr) throw std::bad_alloc();
    if (large_ == nullptr) std::memcpy(memory, first_, used);
    static_cast<void>(large_.release());
    large_.reset(memory);
    next_ = memory + used;
    end_ = memory + capacity;
  }

  // A small text is put together here, so that it takes one allocation in the end.
  char first_[4096];
  std::unique_ptr<char, Free> large_;
  char* next_ = first_;
  char* end_ = first_ + sizeof first_;
};

}  // namespace vantrel::json::detail
