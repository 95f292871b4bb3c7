#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "vantrel/base/Bytes.h"
#include "vantrel/base/Date.h"
#include "vantrel/base/Export.h"

namespace vantrel::storage {
struct Block;
struct Container;
struct ValueAccess;
}  // namespace vantrel::storage

namespace vantrel {

/// A JSON-like value: null, boolean, integer, floating number, string (UTF-8), date, bytes, list or
/// dictionary with string keys. What JSON, settings, archives and events carry.
///
/// A value: copying is cheap (large contents are shared until one side changes them), and changing a copy
/// never changes the original. No operation recurses, so trees of any depth can be copied, compared and
/// destroyed. Numbers keep what they were read as: integers hold all of int64 and uint64 exactly, and 1
/// and 1.0 are different kinds but compare equal. Dictionaries keep the order in which keys were first set;
/// equality ignores that order. A value always equals its copy, so one NaN equals another.
///
/// Sixteen bytes. Scalars, empty containers and strings of up to 14 bytes allocate nothing; any other string,
/// a list and a dictionary are one allocation each. Finding a key takes constant time on average, whatever
/// the keys are; removing one takes time in proportion to the dictionary's size. Values that were parsed from
/// one text keep their storage together: a part that is copied out keeps all of it alive.
///
/// Threads: like `std::shared_ptr`: one object from one thread at a time, copies from anywhere.
class VANTREL_EXPORT ValueTree {
 public:
  enum class Kind : std::uint8_t { Null, Boolean, Integer, Floating, String, Date, Data, List, Dictionary };

  /// A dictionary's entry: `key()`, a view that lives as long as the entry, and `value()`.
  class Member;

  ValueTree() noexcept : ValueTree(Kind::Null) {}
  ValueTree(std::nullptr_t) noexcept : ValueTree() {}
  ValueTree(std::same_as<bool> auto value) noexcept : ValueTree(Kind::Boolean) {
    cell_.value.boolean = value;
  }

  template <std::integral T>
  requires(!std::same_as<T, bool>) ValueTree(T value)
  noexcept : ValueTree(Kind::Integer) {
    cell_.value.bits = static_cast<std::uint64_t>(value);
    // Not by std::cmp_greater, which knows no characters.
    if (value > 0 && cell_.value.bits >> 63 != 0) cell_.tag = kLargeInteger;
  }

  ValueTree(double value) noexcept : ValueTree(Kind::Floating) { cell_.value.number = value; }
  ValueTree(std::string_view text);
  ValueTree(const char* text);  ///< a null pointer gives null
  ValueTree(const std::string& text) : ValueTree(std::string_view(text)) {}
  ValueTree(vantrel::Date date) noexcept : ValueTree(Kind::Date) {
    cell_.value.number = date.secondsSince1970;
  }
  ValueTree(Bytes data);

  ValueTree(const ValueTree& other) noexcept : cell_(other.cell_) {
    if (isCounted()) retain();
  }
  ValueTree(ValueTree&& other) noexcept : cell_(std::exchange(other.cell_, Cell{})) {}  ///< leaves null
  ValueTree& operator=(const ValueTree& other) noexcept { return *this = ValueTree(other); }
  ValueTree& operator=(ValueTree&& other) noexcept {
    ValueTree taken(std::move(other));
    std::swap(cell_, taken.cell_);
    return *this;
  }
  ~ValueTree() {
    if (isCounted()) release();
  }

  static ValueTree list(std::initializer_list<ValueTree> items = {});
  static ValueTree dictionary(std::initializer_list<std::pair<std::string_view, ValueTree>> members = {});

  Kind kind() const noexcept { return cell_.kind; }

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

  /// Allocates nothing up to some dozens of levels of nesting; deeper trees take memory for each level.
  VANTREL_EXPORT friend bool operator==(const ValueTree& a, const ValueTree& b);

 private:
  friend struct storage::ValueAccess;

  static constexpr std::uint8_t kLargeInteger = 1;  // tag of an integer above int64
  static constexpr std::uint8_t kInArena = 0xfe;    // tag of a value whose contents lie bare in an arena
  static constexpr std::uint8_t kShared = 0xff;     // tag of any other whose contents lie in a block
  static constexpr std::size_t kInlineText = 14;    // a shorter string's tag is its length

  union Payload {
    std::uint64_t bits = 0;
    bool boolean;
    double number;
    storage::Block* block;
    ValueTree* cells;  // bare in an arena: a list's items, or each member's key and value
    const char* text;  // bare in an arena: a string's characters
  };
  /// A short string fills the bytes from `count` on.
  struct Cell {
    Kind kind = Kind::Null;
    std::uint8_t tag = 0;
    std::uint16_t count = 0;  // of what lies bare in an arena
    std::uint32_t place = 0;  // where in the arena that is
    Payload value;
  };

  explicit ValueTree(Kind kind) noexcept { cell_.kind = kind; }
  bool isCounted() const noexcept { return cell_.tag >= kInArena; }
  void retain() const noexcept;
  void release() noexcept;

  Cell cell_;
};

class ValueTree::Member {
 public:
  std::string_view key() const noexcept { return *key_.asString(); }
  const ValueTree& value() const noexcept { return value_; }

 private:
  friend struct storage::ValueAccess;

  Member(ValueTree key, ValueTree value) noexcept : key_(std::move(key)), value_(std::move(value)) {}

  ValueTree key_;
  ValueTree value_;
};

}  // namespace vantrel
