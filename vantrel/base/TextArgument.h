#pragma once

#include <concepts>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace vantrel {

/// A text that an operation is given, or none: what a `const char*`, `std::string`, `std::string_view`, an
/// optional of these, or `std::nullopt` becomes on the way. A null pointer is an absent text, so that
/// `operation(std::getenv("NAME"))` is safe. An absent text counts as an empty one, except where an operation
/// says what it does with an absent one.
///
/// For parameters alone: it is a view, and good until the end of the call.
class TextArgument {
 public:
  /// Absent.
  constexpr TextArgument() noexcept = default;
  constexpr TextArgument(std::nullopt_t) noexcept {}

  /// Up to the zero byte; absent when null.
  constexpr TextArgument(const char* text) noexcept {
    if (text != nullptr) *this = TextArgument(std::string_view(text));
  }

  /// A string, a view, or what converts to one.
  template <typename Text>
  requires(std::convertible_to<const Text&, std::string_view> &&
           !std::convertible_to<const Text&, const char*>) constexpr TextArgument(const Text& text) noexcept
      : present_(true), text_(text) {}

  template <typename Text>
  requires std::convertible_to<const Text&, TextArgument>
  constexpr TextArgument(const std::optional<Text>& text) noexcept {
    if (text) *this = TextArgument(*text);
  }

  /// Whether there is a text, be it empty.
  constexpr explicit operator bool() const noexcept { return present_; }

  /// The text, empty when absent.
  constexpr std::string_view operator*() const noexcept { return text_; }

  /// The text for keeping.
  std::optional<std::string> copy() const {
    return present_ ? std::optional<std::string>(text_) : std::nullopt;
  }

 private:
  bool present_ = false;
  std::string_view text_;
};

}  // namespace vantrel
