#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

#include "vantrel/platform/Bytes.h"
#include "vantrel/platform/Date.h"
#include "vantrel/platform/Export.h"

namespace vantrel {

/// A JSON-like value: null, boolean, integer, floating number, string (UTF-8), date, bytes, list or
/// dictionary with string keys. What JSON, settings, archives and events carry.
///
/// A value: copying is cheap (large contents are shared until one side changes them), and changing a copy
/// never changes the original. No operation recurses, so trees of any depth can be copied, compared and
/// destroyed. Numbers keep what they were read as: integers hold all of int64 and uint64 exactly, and 1
/// and 1.0 are different kinds but compare equal. Dictionaries keep the order in which keys were first set;
/// equality ignores that order.
///
/// Threads: like `std::shared_ptr`: one object from one thread at a time, copies from anywhere.
class VANTREL_EXPORT ValueTree {
 public:
  enum class Kind : std::uint8_t { Null, Boolean, Integer, Floating, String, Date, Data, List, Dictionary };

  /// A dictionary's entry.
  class Member;

  ValueTree() noexcept;
  ValueTree(std::nullptr_t) noexcept;
  ValueTree(std::same_as<bool> auto value) noexcept;
  template <std::integral T>
  requires(!std::same_as<T, bool>) ValueTree(T value)
  noexcept;
  ValueTree(double value) noexcept;
  ValueTree(std::string_view text);
  ValueTree(const char* text);
  ValueTree(const std::string& text);
  ValueTree(vantrel::Date date) noexcept;
  ValueTree(Bytes data);

  static ValueTree list(std::initializer_list<ValueTree> items = {});
  static ValueTree dictionary(std::initializer_list<std::pair<std::string_view, ValueTree>> members = {});

  Kind kind() const noexcept;

  // Each gives absent when the value is of another kind.
  std::optional<bool> asBoolean() const noexcept;
  std::optional<std::int64_t> asInteger() const noexcept;     ///< an integer of at most 2^63 - 1
  std::optional<std::uint64_t> asUnsigned() const noexcept;   ///< an integer of at least 0
  std::optional<double> asDouble() const noexcept;            ///< any number; integers rounded to nearest
  std::optional<std::string_view> asString() const noexcept;  ///< valid while this value is unchanged
  std::optional<vantrel::Date> asDate() const noexcept;
  std::optional<Bytes> asData() const;

  /// Count of a list's items or a dictionary's members; 0 for every other kind.
  std::size_t size() const noexcept;

  /// A list's items, a dictionary's members; empty for other kinds. Valid while this value is unchanged.
  std::span<const ValueTree> items() const noexcept;
  std::span<const Member> members() const noexcept;

  /// The value under `key`; null pointer when there is none or this is no dictionary. Valid while unchanged.
  const ValueTree* find(std::string_view key) const noexcept;

  /// The item or the value under a key; a null value when there is none.
  const ValueTree& operator[](std::size_t index) const noexcept;
  const ValueTree& operator[](std::string_view key) const noexcept;

  /// Appends to a list; a null value becomes a list first; nothing happens on other kinds.
  void append(ValueTree item);

  /// Sets a dictionary's value; a null value becomes a dictionary first; nothing happens on other kinds.
  void set(std::string_view key, ValueTree value);

  /// Removes a dictionary's entry; false when there was none.
  bool remove(std::string_view key);

  VANTREL_EXPORT friend bool operator==(const ValueTree& a, const ValueTree& b) noexcept;
};

}  // namespace vantrel
