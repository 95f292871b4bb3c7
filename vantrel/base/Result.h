#pragma once

#include <cassert>
#include <concepts>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

#include "vantrel/base/Error.h"

namespace vantrel {

namespace detail {

/// Why there is no value; empty when there is one. Not moved out of: what has failed stays a failure.
class Reason {
 public:
  Reason() = default;
  explicit Reason(Error error) : error_(std::make_shared<const Error>(std::move(error))) {}
  Reason(const Reason&) = default;
  Reason& operator=(const Reason&) = default;

  explicit operator bool() const noexcept { return error_ != nullptr; }
  const Error& operator*() const noexcept {
    assert(error_);
    return *error_;
  }

 private:
  std::shared_ptr<const Error> error_;
};

}  // namespace detail

/// What an operation gives that can fail for a reason: a value, or the `Error` that tells why there is none.
///
///   const Result<ValueTree> settings = json::parse(text);
///   if (!settings) return say(settings.error().description());
///   use(settings->size());
///
/// Reads like `std::optional`, and converts to it where the reason does not matter. As `std::expected` of
/// later C++ does, it holds one of the two; an error is shared by copies.
///
/// Threads: like the value's type.
template <typename T>
class [[nodiscard]] Result {
 public:
  using value_type = T;

  /// From a value, or from what becomes one without a cast.
  template <typename Value = T>
  requires(std::convertible_to<Value, T> && !std::same_as<Value, Result> && !std::same_as<Value, Error>)
      Result(Value value)
      : value_(std::move(value)) {}
  Result(Error error) : reason_(std::move(error)) {}

  /// From an operation that failed for the reason of another one.
  template <typename Other>
  static Result failed(const Result<Other>& because) {
    return Result(because.error());
  }

  explicit operator bool() const noexcept { return value_.has_value(); }
  bool has_value() const noexcept { return value_.has_value(); }

  // The value; only when there is one.
  const T& operator*() const& noexcept { return *value_; }
  T& operator*() & noexcept { return *value_; }
  T&& operator*() && noexcept { return *std::move(value_); }
  const T* operator->() const noexcept { return &*value_; }
  T* operator->() noexcept { return &*value_; }

  /// The value, or `otherwise` when there is none.
  T value_or(T otherwise) const& { return value_ ? *value_ : std::move(otherwise); }
  T value_or(T otherwise) && { return value_ ? *std::move(value_) : std::move(otherwise); }

  /// Why there is no value; only when there is none.
  const Error& error() const noexcept { return *reason_; }

  operator std::optional<T>() const& { return value_; }
  operator std::optional<T>() && { return std::move(value_); }

  friend bool operator==(const Result& a, const Result& b) {
    return a.value_ == b.value_ && (a.value_ || a.error() == b.error());
  }
  friend bool operator==(const Result& result, const std::optional<T>& value) {
    return result.value_ == value;
  }
  friend bool operator==(const Result& result, std::nullopt_t) noexcept { return !result.value_; }
  template <std::convertible_to<T> Value>
  friend bool operator==(const Result& result, const Value& value) {
    return result.value_ && *result.value_ == value;
  }

 private:
  std::optional<T> value_;
  detail::Reason reason_;
};

/// Of an operation that gives nothing but whether it succeeded.
template <>
class [[nodiscard]] Result<void> {
 public:
  Result() = default;
  Result(Error error) : reason_(std::move(error)) {}

  explicit operator bool() const noexcept { return !reason_; }
  bool has_value() const noexcept { return !reason_; }

  /// Why it failed; only when it did.
  const Error& error() const noexcept { return *reason_; }

 private:
  detail::Reason reason_;
};

}  // namespace vantrel
