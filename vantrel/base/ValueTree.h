#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iosfwd>
#include <iterator>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

#include "vantrel/base/Bytes.h"
#include "vantrel/base/Date.h"
#include "vantrel/base/Export.h"

namespace vantrel::storage {
struct Block;
struct Container;
struct ValueAccess;

template <typename T>
concept Character = std::same_as<T, char> || std::same_as<T, wchar_t> || std::same_as<T, char8_t> ||
    std::same_as<T, char16_t> || std::same_as<T, char32_t>;

/// What is meant as an integer: of at most 64 bits, or an enumerator that converts to one by itself.
template <typename T>
concept Integer = (std::integral<T> && !std::same_as<T, bool> && !Character<T> && sizeof(T) <= 8) ||
                  (std::is_enum_v<T> && std::is_convertible_v<T, int>);

/// What would become something else than was meant, if it became anything: characters, scoped enumerators,
/// pointers to anything but characters, integers of more than 64 bits.
template <typename T>
concept Misleading = Character<T> || std::is_member_pointer_v<T> ||(std::is_enum_v<T> && !Integer<T>) ||
                     (std::is_pointer_v<T> &&
                      !std::same_as<std::remove_cv_t<std::remove_pointer_t<T>>, char>) ||
                     (std::integral<T> && sizeof(T) > 8);
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
/// the keys are; setting and removing one takes constant time on average over many. Inserting and removing a
/// list's items takes time in proportion to the items behind. Values that were parsed from one text keep
/// their storage together: a part that is copied out keeps all of it alive, and the first change copies one
/// level.
///
///   ValueTree doc = ValueTree::dictionary({{"users", ValueTree::list()}});
///   doc.edit("users")->append(ValueTree::dictionary({{"name", "Ada"}}));
///   doc.setAt({"users", 0, "age"}, 36);
///   for (const auto& [key, value] : doc["users"][0].members()) std::cout << key << " is " << value << '\n';
///
/// Of a null `const char*` the value is null, and as a key it names nothing. Characters, pointers and scoped
/// enumerators, which would be taken for something else, do not compile.
///
/// Threads: like `std::shared_ptr`: one object from one thread at a time, copies from anywhere.
class VANTREL_EXPORT ValueTree {
 public:
  enum class Kind : std::uint8_t { Null, Boolean, Integer, Floating, String, Date, Data, List, Dictionary };

  /// A dictionary's entry: `key()`, a view that lives as long as the entry, and `value()`.
  class Member;

  /// A dictionary's entries.
  class Members;

  /// A dictionary's entry to be.
  class Entry;

  /// What leads from a list to an item, its index from 0, or from a dictionary to a value, its key.
  class Step;

  ValueTree() noexcept : ValueTree(Kind::Null) {}
  ValueTree(std::nullptr_t) noexcept : ValueTree() {}
  ValueTree(std::same_as<bool> auto value) noexcept : ValueTree(Kind::Boolean) {
    cell_.value.boolean = value;
  }

  template <storage::Integer T>
  ValueTree(T value) noexcept : ValueTree(Kind::Integer) {
    cell_.value.bits = static_cast<std::uint64_t>(value);
    if (value > T{} && cell_.value.bits >> 63 != 0) cell_.tag = kLargeInteger;
  }
  ValueTree(std::floating_point auto value) noexcept : ValueTree(Kind::Floating) {
    cell_.value.number = static_cast<double>(value);
  }
  template <storage::Misleading T>
  ValueTree(T) = delete;
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
  static ValueTree dictionary(std::initializer_list<Entry> members = {});

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
  Members members() const noexcept;

  /// The value that the steps lead to, one level each: `find("users", 0, "age")`. A null pointer when there
  /// is none. Valid while this value is unchanged.
  template <std::convertible_to<Step>... Steps>
  const ValueTree* find(const Steps&... steps) const noexcept;
  const ValueTree* find(std::span<const Step> path) const noexcept;

  /// The item or the value under a key; a null value when there is none.
  const ValueTree& operator[](Step step) const noexcept;

  /// The value that the steps lead to, to be changed where it stands; a null pointer when there is none. Use
  /// it at once: it is valid until this tree is changed otherwise, and once the tree has been copied, what is
  /// changed through it changes the copy too.
  template <std::convertible_to<Step>... Steps>
  ValueTree* edit(const Steps&... steps);
  ValueTree* edit(std::span<const Step> path);

  /// Sets a dictionary's value or replaces a list's item; an index just behind the last item appends. A null
  /// value becomes a dictionary for a key, a list for index 0. False, and nothing happens, for an index past
  /// the end, a key that names nothing, and on other kinds.
  bool set(Step step, ValueTree value);

  /// The same at the end of a path, which may be empty: `setAt({"users", 0, "age"}, 36)`. What is missing on
  /// the way is made, as `set` does with null.
  bool setAt(std::initializer_list<Step> path, ValueTree value);
  bool setAt(std::span<const Step> path, ValueTree value);

  /// Appends to a list; a null value becomes a list first; nothing happens on other kinds.
  void append(ValueTree item);

  /// Inserts before a list's item, or at the end. A null value becomes a list for index 0. False, and nothing
  /// happens, for an index past the end and on other kinds.
  bool insert(std::size_t index, ValueTree item);

  /// Removes a list's item or a dictionary's entry; false when there was none.
  bool remove(Step step);

  /// Allocates nothing up to some dozens of levels of nesting; deeper trees take memory for each level.
  VANTREL_EXPORT friend bool operator==(const ValueTree& a, const ValueTree& b);

  /// Writes the value on one line for people to read, close to JSON:
  /// {"on":true,"since":date(1.5),"raw":data(3 bytes)}. See `json::writeCompact` for what programs read.
  VANTREL_EXPORT friend std::ostream& operator<<(std::ostream& out, const ValueTree& value);

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
  bool setMember(std::string_view key, ValueTree value);
  void retain() const noexcept;
  void release() noexcept;

  Cell cell_;
};

inline std::optional<bool> ValueTree::asBoolean() const noexcept {
  if (kind() != Kind::Boolean) return std::nullopt;
  return cell_.value.boolean;
}

inline std::optional<std::int64_t> ValueTree::asInteger() const noexcept {
  if (kind() != Kind::Integer || cell_.tag == kLargeInteger) return std::nullopt;
  return static_cast<std::int64_t>(cell_.value.bits);
}

inline std::optional<std::uint64_t> ValueTree::asUnsigned() const noexcept {
  if (kind() != Kind::Integer) return std::nullopt;
  if (cell_.tag != kLargeInteger && static_cast<std::int64_t>(cell_.value.bits) < 0) return std::nullopt;
  return cell_.value.bits;
}

inline std::optional<double> ValueTree::asDouble() const noexcept {
  if (kind() == Kind::Floating) return cell_.value.number;
  if (kind() != Kind::Integer) return std::nullopt;
  if (cell_.tag == kLargeInteger) return static_cast<double>(cell_.value.bits);
  return static_cast<double>(static_cast<std::int64_t>(cell_.value.bits));
}

class ValueTree::Member {
 public:
  std::string_view key() const noexcept { return *key_.asString(); }
  const ValueTree& value() const noexcept { return value_; }

  /// For `const auto& [key, value]`.
  template <std::size_t index>
  decltype(auto) get() const noexcept {
    if constexpr (index == 0) {
      return key();
    } else {
      return value();
    }
  }

 private:
  friend struct storage::ValueAccess;
  friend class ValueTree::Members;

  Member(ValueTree key, ValueTree value) noexcept : key_(std::move(key)), value_(std::move(value)) {}

  ValueTree key_;  // null where a member was removed
  ValueTree value_;
};

/// In the order in which the keys were first set. A range to go through from the front.
class ValueTree::Members {
 public:
  class Iterator {
   public:
    using value_type = Member;
    using reference = const Member&;
    using pointer = const Member*;
    using difference_type = std::ptrdiff_t;
    using iterator_category = std::forward_iterator_tag;

    Iterator() = default;
    reference operator*() const noexcept { return *next_; }
    pointer operator->() const noexcept { return next_; }
    Iterator& operator++() noexcept {
      ++next_;
      skipRemoved();
      return *this;
    }
    Iterator operator++(int) noexcept {
      const Iterator before = *this;
      ++*this;
      return before;
    }
    friend bool operator==(const Iterator&, const Iterator&) = default;

   private:
    friend class Members;

    Iterator(const Member* next, const Member* end) noexcept : next_(next), end_(end) { skipRemoved(); }
    void skipRemoved() noexcept {
      while (next_ != end_ && wasRemoved(*next_)) ++next_;
    }

    const Member* next_ = nullptr;
    const Member* end_ = nullptr;
  };

  Iterator begin() const noexcept { return {begin_, end_}; }
  Iterator end() const noexcept { return {end_, end_}; }
  std::size_t size() const noexcept { return size_; }
  bool empty() const noexcept { return size_ == 0; }

 private:
  friend class ValueTree;

  static bool wasRemoved(const Member& member) noexcept { return member.key_.kind() == Kind::Null; }

  Members(const Member* begin, const Member* end, std::size_t size) noexcept
      : begin_(begin), end_(end), size_(size) {}

  const Member* begin_;
  const Member* end_;
  std::size_t size_;
};

/// With a null `const char*` as its key it becomes no entry.
class ValueTree::Entry {
 public:
  Entry(std::string_view key, ValueTree value) : key_(key), value_(std::move(value)) {}
  Entry(const char* key, ValueTree value) : value_(std::move(value)) {
    if (key != nullptr) key_ = key;
  }

 private:
  friend class ValueTree;

  std::optional<std::string_view> key_;
  ValueTree value_;
};

/// A negative index and a null `const char*` lead nowhere. A key is a view of the text that it is made from.
class ValueTree::Step {
 public:
  template <storage::Integer T>
  constexpr Step(T index) noexcept : number_(index < T{} ? kNowhere : static_cast<std::size_t>(index)) {}
  template <typename T>
  requires std::is_class_v<T> && std::convertible_to<const T&, std::string_view>
  constexpr Step(const T& key) noexcept { *this = of(key); }
  constexpr Step(const char* key) noexcept {
    if (key != nullptr) *this = of(key);
  }
  Step(std::same_as<bool> auto) = delete;
  template <storage::Misleading T>
  Step(T) = delete;

  /// Absent when it is a key.
  constexpr std::optional<std::size_t> index() const noexcept {
    return key_ == nullptr ? std::optional(number_) : std::nullopt;
  }
  /// Absent when it is an index.
  constexpr std::optional<std::string_view> key() const noexcept {
    return key_ != nullptr ? std::optional(std::string_view(key_, number_)) : std::nullopt;
  }

 private:
  static constexpr std::size_t kNowhere = std::numeric_limits<std::size_t>::max();

  constexpr Step() = default;
  static constexpr Step of(std::string_view key) noexcept {
    Step step;
    step.key_ = key.data() != nullptr ? key.data() : "";
    step.number_ = key.size();
    return step;
  }

  const char* key_ = nullptr;      // null for an index
  std::size_t number_ = kNowhere;  // the index, or the key's length
};

template <std::convertible_to<ValueTree::Step>... Steps>
const ValueTree* ValueTree::find(const Steps&... steps) const noexcept {
  return find(std::span<const Step>(std::array<Step, sizeof...(Steps)>{Step(steps)...}));
}

template <std::convertible_to<ValueTree::Step>... Steps>
ValueTree* ValueTree::edit(const Steps&... steps) {
  return edit(std::span<const Step>(std::array<Step, sizeof...(Steps)>{Step(steps)...}));
}

}  // namespace vantrel

template <>
struct std::tuple_size<vantrel::ValueTree::Member> : std::integral_constant<std::size_t, 2> {};
template <>
struct std::tuple_element<0, vantrel::ValueTree::Member> {
  using type = std::string_view;
};
template <>
struct std::tuple_element<1, vantrel::ValueTree::Member> {
  using type = const vantrel::ValueTree;
};
