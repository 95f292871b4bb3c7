#include "vantrel/platform/ValueTree.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "vantrel/platform/detail/ValueStorage.h"

namespace vantrel {

using platform::detail::Container;
using platform::detail::ValueAccess;

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

using Pairs = std::vector<std::pair<const ValueTree*, const ValueTree*>>;

/// Compares what is no container at once, and leaves containers' contents to be compared later.
bool compare(const ValueTree& a, const ValueTree& b, Pairs& later) {
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
      if (a.size() != b.size()) return false;
      if (ValueAccess::container(a) != ValueAccess::container(b)) later.emplace_back(&a, &b);
      return true;
  }
  return false;
}

bool compareContents(const ValueTree& a, const ValueTree& b, Pairs& later) {
  for (std::size_t i = 0; i < a.items().size(); ++i) {
    if (!compare(a.items()[i], b.items()[i], later)) return false;
  }
  for (const ValueTree::Member& member : a.members()) {
    const ValueTree* const other = b.find(member.key());
    if (other == nullptr || !compare(member.value(), *other, later)) return false;
  }
  return true;
}

}  // namespace

ValueTree::ValueTree(std::string_view text) : ValueTree(Kind::String) {
  if (text.size() <= kInlineText) {
    *this = ValueAccess::shortText(text);
  } else {
    *this = ValueAccess::make(Kind::String, platform::detail::Text::create(text));
  }
}

ValueTree::ValueTree(const char* text) : ValueTree() {
  if (text != nullptr) *this = ValueTree(std::string_view(text));
}

ValueTree::ValueTree(Bytes data)
    : ValueTree(ValueAccess::make(Kind::Data, new platform::detail::Data{{nullptr, {1}}, std::move(data)})) {}

ValueTree ValueTree::list(std::initializer_list<ValueTree> items) {
  ValueTree list(Kind::List);
  if (items.size() == 0) return list;
  Container& container = *ValueAccess::writable(list, items.size());
  for (const ValueTree& item : items) new (&container.items()[container.size++]) ValueTree(item);
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
  return static_cast<const platform::detail::Data*>(cell_.value.block)->bytes;
}

std::size_t ValueTree::size() const noexcept {
  if (kind() != Kind::List && kind() != Kind::Dictionary) return 0;
  const Container* const container = ValueAccess::container(*this);
  return container != nullptr ? container->size : 0;
}

std::span<const ValueTree> ValueTree::items() const noexcept {
  if (kind() != Kind::List || !isShared()) return {};
  Container* const container = ValueAccess::container(*this);
  return {container->items(), container->size};
}

std::span<const ValueTree::Member> ValueTree::members() const noexcept {
  if (kind() != Kind::Dictionary || !isShared()) return {};
  Container* const container = ValueAccess::container(*this);
  return {container->members(), container->size};
}

const ValueTree* ValueTree::find(std::string_view key) const noexcept {
  if (kind() != Kind::Dictionary || !isShared()) return nullptr;
  Container* const container = ValueAccess::container(*this);
  const std::size_t position = container->position(key);
  return position != Container::kNone ? &container->members()[position].value() : nullptr;
}

const ValueTree& ValueTree::operator[](std::size_t index) const noexcept {
  return index < items().size() ? items()[index] : kNull;
}

const ValueTree& ValueTree::operator[](std::string_view key) const noexcept {
  const ValueTree* const value = find(key);
  return value != nullptr ? *value : kNull;
}

void ValueTree::append(ValueTree item) {
  if (kind() == Kind::Null) cell_.kind = Kind::List;
  if (kind() != Kind::List) return;
  Container& container = *ValueAccess::writable(*this, 1);
  new (&container.items()[container.size++]) ValueTree(std::move(item));
}

void ValueTree::set(std::string_view key, ValueTree value) {
  if (kind() == Kind::Null) cell_.kind = Kind::Dictionary;
  if (kind() != Kind::Dictionary) return;
  const Container* const before = ValueAccess::container(*this);
  const std::size_t position =
      before != nullptr ? ValueAccess::container(*this)->position(key) : Container::kNone;
  if (position != Container::kNone) {
    Container& container = *ValueAccess::writable(*this, 0);
    std::swap(ValueAccess::value(container.members()[position]), value);
    return;
  }
  // Copied before anything moves: the key may be a view of what stands in this very dictionary.
  ValueTree ownKey(key);
  Container& container = *ValueAccess::writable(*this, 1);
  new (&container.members()[container.size++])
      Member(ValueAccess::member(std::move(ownKey), std::move(value)));
  container.indexLast();
}

bool ValueTree::remove(std::string_view key) {
  if (kind() != Kind::Dictionary || !isShared()) return false;
  const std::size_t position = ValueAccess::container(*this)->position(key);
  if (position == Container::kNone) return false;
  Container& container = *ValueAccess::writable(*this, 0);
  Member* const members = container.members();
  std::move(members + position + 1, members + container.size, members + position);
  members[--container.size].~Member();
  container.rebuildIndex();
  return true;
}

bool operator==(const ValueTree& a, const ValueTree& b) noexcept {
  Pairs later;
  if (!compare(a, b, later)) return false;
  while (!later.empty()) {
    const auto [x, y] = later.back();
    later.pop_back();
    if (!compareContents(*x, *y, later)) return false;
  }
  return true;
}

}  // namespace vantrel
