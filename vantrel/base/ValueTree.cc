#include "vantrel/base/ValueTree.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "vantrel/base/ValueStorage.h"

namespace vantrel {

using storage::Container;
using storage::ValueAccess;

namespace {

const ValueTree kNull;

bool isNumber(const ValueTree& value) {
  return value.kind() == ValueTree::Kind::Integer || value.kind() == ValueTree::Kind::Floating;
}

bool same(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }

/// Exact: an integer that a double cannot hold equals no double.
bool same(const ValueTree& integer, double number) {
  constexpr double kTwoTo63 = 9223372036854775808.0;
  if (!(number >= -kTwoTo63 && number < 2 * kTwoTo63) || number != std::trunc(number)) return false;
  if (number < kTwoTo63) return integer.asInteger() == static_cast<std::int64_t>(number);
  return integer.asUnsigned() == static_cast<std::uint64_t>(number);
}

bool sameNumber(const ValueTree& a, const ValueTree& b) {
  const bool isIntegerA = a.kind() == ValueTree::Kind::Integer;
  const bool isIntegerB = b.kind() == ValueTree::Kind::Integer;
  if (isIntegerA && isIntegerB) {
    return a.asInteger() == b.asInteger() && a.asUnsigned() == b.asUnsigned();
  }
  if (isIntegerA) return same(a, *b.asDouble());
  if (isIntegerB) return same(b, *a.asDouble());
  return same(*a.asDouble(), *b.asDouble());
}

bool isContainer(const ValueTree& value) {
  return value.kind() == ValueTree::Kind::List || value.kind() == ValueTree::Kind::Dictionary;
}

/// Whether two values are equal, of containers only whether they may be: their contents are left out.
bool mayEqual(const ValueTree& a, const ValueTree& b) {
  if (a.kind() != b.kind()) return isNumber(a) && isNumber(b) && sameNumber(a, b);
  switch (a.kind()) {
    case ValueTree::Kind::Null:
      return true;
    case ValueTree::Kind::Boolean:
      return a.asBoolean() == b.asBoolean();
    case ValueTree::Kind::Integer:
    case ValueTree::Kind::Floating:
      return sameNumber(a, b);
    case ValueTree::Kind::String:
      return a.asString() == b.asString();
    case ValueTree::Kind::Date:
      return same(a.asDate()->secondsSince1970, b.asDate()->secondsSince1970);
    case ValueTree::Kind::Data:
      return a.asData() == b.asData();
    case ValueTree::Kind::List:
    case ValueTree::Kind::Dictionary:
      return a.size() == b.size();
  }
  return false;
}

/// Compares the contents of two containers, and of those within.
class Comparison {
 public:
  bool run(const ValueTree& a, const ValueTree& b) {
    if (!compare(a, b)) return false;
    while (depth_ != 0) {
      Open& open = innermost();
      if (open.next == open.a->size()) {
        leave();
        continue;
      }
      const std::size_t position = open.next++;
      if (open.a->kind() == ValueTree::Kind::List) {
        if (!compare(open.a->items()[position], open.b->items()[position])) return false;
      } else {
        const ValueTree::Member& member = open.a->members()[position];
        const ValueTree* const other = open.b->find(member.key());
        if (other == nullptr || !compare(member.value(), *other)) return false;
      }
    }
    return true;
  }

 private:
  /// Two containers of one kind and size, of which what stands before `next` is equal.
  struct Open {
    const ValueTree* a;
    const ValueTree* b;
    std::size_t next;
  };

  bool compare(const ValueTree& a, const ValueTree& b) {
    if (!mayEqual(a, b)) return false;
    // What shares its contents is equal.
    if (!isContainer(a) || ValueAccess::cells(a) == ValueAccess::cells(b)) return true;
    if (depth_ < kFirst) {
      first_[depth_] = {&a, &b, 0};
    } else {
      deeper_.push_back({&a, &b, 0});
    }
    ++depth_;
    return true;
  }

  Open& innermost() { return depth_ <= kFirst ? first_[depth_ - 1] : deeper_.back(); }

  void leave() {
    if (depth_ > kFirst) deeper_.pop_back();
    --depth_;
  }

  static constexpr std::size_t kFirst = 64;

  std::size_t depth_ = 0;
  Open first_[kFirst];
  std::vector<Open> deeper_;
};

}  // namespace

ValueTree::ValueTree(std::string_view text) : ValueTree(Kind::String) {
  if (text.size() <= kInlineText) {
    *this = ValueAccess::shortText(text);
  } else {
    *this = ValueAccess::make(Kind::String, storage::Text::create(text));
  }
}

ValueTree::ValueTree(const char* text) : ValueTree() {
  if (text != nullptr) *this = ValueTree(std::string_view(text));
}

ValueTree::ValueTree(Bytes data)
    : ValueTree(ValueAccess::make(Kind::Data, new storage::Data{{nullptr, {1}}, std::move(data)})) {}

ValueTree ValueTree::list(std::initializer_list<ValueTree> items) {
  ValueTree list(Kind::List);
  if (items.size() == 0) return list;
  Container& container = *ValueAccess::writable(list, items.size());
  for (const ValueTree& item : items) new (&container.cells[container.size++]) ValueTree(item);
  return list;
}

ValueTree ValueTree::dictionary(std::initializer_list<std::pair<std::string_view, ValueTree>> members) {
  ValueTree dictionary(Kind::Dictionary);
  if (members.size() == 0) return dictionary;
  ValueAccess::writable(dictionary, members.size());
  for (const auto& [key, value] : members) dictionary.set(key, value);
  return dictionary;
}

std::optional<bool> ValueTree::asBoolean() const noexcept {
  if (kind() != Kind::Boolean) return std::nullopt;
  return cell_.value.boolean;
}

std::optional<std::int64_t> ValueTree::asInteger() const noexcept {
  if (kind() != Kind::Integer || cell_.tag == kLargeInteger) return std::nullopt;
  return static_cast<std::int64_t>(cell_.value.bits);
}

std::optional<std::uint64_t> ValueTree::asUnsigned() const noexcept {
  if (kind() != Kind::Integer) return std::nullopt;
  if (cell_.tag != kLargeInteger && static_cast<std::int64_t>(cell_.value.bits) < 0) return std::nullopt;
  return cell_.value.bits;
}

std::optional<double> ValueTree::asDouble() const noexcept {
  if (kind() == Kind::Floating) return cell_.value.number;
  if (kind() != Kind::Integer) return std::nullopt;
  if (cell_.tag == kLargeInteger) return static_cast<double>(cell_.value.bits);
  return static_cast<double>(static_cast<std::int64_t>(cell_.value.bits));
}

std::optional<std::string_view> ValueTree::asString() const noexcept {
  if (kind() != Kind::String) return std::nullopt;
  return ValueAccess::text(*this);
}

std::optional<Date> ValueTree::asDate() const noexcept {
  if (kind() != Kind::Date) return std::nullopt;
  return vantrel::Date{cell_.value.number};
}

std::optional<Bytes> ValueTree::asData() const {
  if (kind() != Kind::Data) return std::nullopt;
  return static_cast<const storage::Data*>(cell_.value.block)->bytes;
}

std::size_t ValueTree::size() const noexcept { return isContainer(*this) ? ValueAccess::size(*this) : 0; }

std::span<const ValueTree> ValueTree::items() const noexcept {
  if (kind() != Kind::List) return {};
  return {ValueAccess::cells(*this), ValueAccess::size(*this)};
}

std::span<const ValueTree::Member> ValueTree::members() const noexcept {
  if (kind() != Kind::Dictionary) return {};
  return {ValueAccess::members(*this), ValueAccess::size(*this)};
}

const ValueTree* ValueTree::find(std::string_view key) const noexcept {
  if (kind() != Kind::Dictionary) return nullptr;
  const std::size_t position = ValueAccess::position(*this, key);
  return position != Container::kNone ? &members()[position].value() : nullptr;
}

const ValueTree& ValueTree::operator[](std::size_t index) const noexcept {
  return index < items().size() ? items()[index] : kNull;
}

const ValueTree& ValueTree::operator[](std::string_view key) const noexcept {
  const ValueTree* const value = find(key);
  return value != nullptr ? *value : kNull;
}

void ValueTree::append(ValueTree item) {
  if (kind() == Kind::Null) {
    *this = list({std::move(item)});
  } else if (kind() == Kind::List) {
    Container& container = *ValueAccess::writable(*this, 1);
    new (&container.cells[container.size++]) ValueTree(std::move(item));
  }
}

// Whatever takes memory comes before the first change, so that nothing is half done when there is none.
void ValueTree::set(std::string_view key, ValueTree value) {
  if (kind() == Kind::Null) {
    *this = dictionary({{key, std::move(value)}});
    return;
  }
  if (kind() != Kind::Dictionary) return;
  const std::size_t position = ValueAccess::position(*this, key);
  if (position != Container::kNone) {
    Container& container = *ValueAccess::writable(*this, 0);
    std::swap(ValueAccess::value(container.members()[position]), value);
    return;
  }
  // Copied before anything moves: the key may be a view of what stands in this very dictionary.
  ValueTree ownKey(key);
  Container& container = *ValueAccess::writable(*this, 1);
  container.reserveIndex();
  new (&container.members()[container.size++])
      Member(ValueAccess::member(std::move(ownKey), std::move(value)));
  container.indexLast();
}

bool ValueTree::remove(std::string_view key) {
  if (kind() != Kind::Dictionary) return false;
  const std::size_t position = ValueAccess::position(*this, key);
  if (position == Container::kNone) return false;
  Container& container = *ValueAccess::writable(*this, 0);
  Member* const members = container.members();
  std::move(members + position + 1, members + container.size, members + position);
  members[--container.size].~Member();
  container.reindex();
  return true;
}

bool operator==(const ValueTree& a, const ValueTree& b) {
  if (!isContainer(a)) return mayEqual(a, b);
  return Comparison().run(a, b);
}

}  // namespace vantrel
