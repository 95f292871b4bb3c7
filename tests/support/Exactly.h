#pragma once

#include <algorithm>
#include <memory>
#include <string_view>

namespace vantrel::tests {

/// A copy of a text in a block of just its size from the heap: the sanitizers see whoever reads past its end,
/// which in the middle of a longer text nobody would.
class Exactly {
 public:
  explicit Exactly(std::string_view text) : block_(new char[text.size()]), size_(text.size()) {
    std::ranges::copy(text, block_.get());
  }

  operator std::string_view() const { return {block_.get(), size_}; }

 private:
  std::unique_ptr<char[]> block_;
  std::size_t size_;
};

inline Exactly exactly(std::string_view text) { return Exactly(text); }

}  // namespace vantrel::tests
