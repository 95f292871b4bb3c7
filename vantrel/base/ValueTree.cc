#include "vantrel/base/ValueTree.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>
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

/// Where a step leads from here, or `kNone`.
std::size_t positionOf(const ValueTree& value, const ValueTree::Step& step) noexcept {
  if (const auto key = step.key()) {
    return value.kind() == ValueTree::Kind::Dictionary ? ValueAccess::position(value, *key)
                                                       : Container::kNone;
  }
  return *step.index() < value.items().size() ? *step.index() : Container::kNone;
}

/// The item, or the value of the member, at a position, which is there.
ValueTree& childAt(const ValueTree& value, std::size_t position) noexcept {
  ValueTree* const cells = ValueAccess::cells(value);
  // NOLINTNEXTLINE(clang-analyzer-core.uninitialized.UndefReturn): what is not empty has cells
  return value.kind() == ValueTree::Kind::Dictionary ? cells[2 * position + 1] : cells[position];
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
      if (open.next == ValueAccess::slots(*open.a)) {
        leave();
        continue;
      }
      const std::size_t position = open.next++;
      if (open.a->kind() == ValueTree::Kind::List) {
        if (!compare(open.a->items()[position], open.b->items()[position])) return false;
      } else {
        const ValueTree::Member& member = ValueAccess::members(*open.a)[position];
        if (ValueAccess::isHole(member)) continue;
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
  for (const ValueTree& item : items) new (&container.cells[container.used++]) ValueTree(item);
  return list;
}

ValueTree ValueTree::dictionary(std::initializer_list<Entry> members) {
  ValueTree dictionary(Kind::Dictionary);
  if (members.size() == 0) return dictionary;
  ValueAccess::writable(dictionary, members.size());
  for (const Entry& entry : members) {
    if (entry.key_) dictionary.set(*entry.key_, entry.value_);
  }
  return dictionary;
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

ValueTree::Members ValueTree::members() const noexcept {
  if (kind() != Kind::Dictionary) return {nullptr, nullptr, 0};
  const Member* const first = ValueAccess::members(*this);
  return {first, first + ValueAccess::slots(*this), ValueAccess::size(*this)};
}

const ValueTree* ValueTree::find(std::span<const Step> path) const noexcept {
  const ValueTree* value = this;
  for (const Step& step : path) {
    const std::size_t position = positionOf(*value, step);
    if (position == Container::kNone) return nullptr;
    value = &childAt(*value, position);
  }
  return value;
}

const ValueTree& ValueTree::operator[](Step step) const noexcept {
  const ValueTree* const value = find(std::span(&step, 1));
  return value != nullptr ? *value : kNull;
}

ValueTree* ValueTree::edit(std::span<const Step> path) {
  // All are found before anything moves: a key may be a view of what stands in this very tree.
  std::vector<std::size_t> positions;
  positions.reserve(path.size());
  const ValueTree* found = this;
  for (const Step& step : path) {
    positions.push_back(positionOf(*found, step));
    if (positions.back() == Container::kNone) return nullptr;
    found = &childAt(*found, positions.back());
  }
  ValueTree* value = this;
  for (const std::size_t position : positions) {
    ValueAccess::writable(*value, 0);
    value = &childAt(*value, position);
  }
  return value;
}

// Whatever takes memory comes before the first change, so that nothing is half done when there is none.
bool ValueTree::set(Step step, ValueTree value) {
  if (const auto key = step.key()) return setMember(*key, std::move(value));
  const std::size_t index = *step.index();
  if (index >= items().size()) return insert(index, std::move(value));
  ValueAccess::writable(*this, 0);
  std::swap(childAt(*this, index), value);
  return true;
}

bool ValueTree::setMember(std::string_view key, ValueTree value) {
  if (kind() == Kind::Null) {
    *this = dictionary({{key, std::move(value)}});
    return true;
  }
  if (kind() != Kind::Dictionary) return false;
  const std::size_t position = ValueAccess::position(*this, key);
  if (position != Container::kNone) {
    ValueAccess::writable(*this, 0);
    std::swap(childAt(*this, position), value);
    return true;
  }
  // Copied before anything moves: the key may be a view of what stands in this very dictionary.
  ValueTree ownKey(key);
  Container& container = *ValueAccess::writable(*this, 1);
  container.reserveIndex();
  new (&container.members()[container.used++])
      Member(ValueAccess::member(std::move(ownKey), std::move(value)));
  container.indexLast();
  return true;
}

bool ValueTree::setAt(std::initializer_list<Step> path, ValueTree value) {
  return setAt(std::span(path.begin(), path.size()), std::move(value));
}

bool ValueTree::setAt(std::span<const Step> path, ValueTree value) {
  if (path.empty()) {
    *this = std::move(value);
    return true;
  }
  std::size_t depth = 0;  // of the innermost container that is there
  for (const ValueTree* at = this; depth + 1 < path.size(); ++depth) {
    at = at->find(path.subspan(depth, 1));
    if (at == nullptr || at->kind() == Kind::Null) break;
  }
  for (std::size_t missing = path.size() - 1; missing > depth; --missing) {
    ValueTree outer;
    if (!outer.set(path[missing], std::move(value))) return false;
    value = std::move(outer);
  }
  // A copy, as the key may be a view of what `edit` gives up.
  const auto key = path[depth].key();
  const std::string ownKey(key.value_or(""));
  return edit(path.first(depth))->set(key ? Step(ownKey) : path[depth], std::move(value));
}

void ValueTree::append(ValueTree item) { insert(size(), std::move(item)); }

bool ValueTree::insert(std::size_t index, ValueTree item) {
  if (kind() == Kind::Null && index == 0) {
    *this = list({std::move(item)});
    return true;
  }
  if (kind() != Kind::List || index > size()) return false;
  Container& container = *ValueAccess::writable(*this, 1);
  ValueTree* const place = container.cells + index;
  // Values may be moved byte by byte.
  std::memmove(static_cast<void*>(place + 1), static_cast<const void*>(place),
               (container.used - index) * sizeof(ValueTree));
  new (place) ValueTree(std::move(item));
  ++container.used;
  return true;
}

bool ValueTree::remove(Step step) {
  const std::size_t position = positionOf(*this, step);
  if (position == Container::kNone) return false;
  Container& container = *ValueAccess::writable(*this, 0);
  if (kind() == Kind::Dictionary) {
    container.removeMember(position);
  } else {
    container.removeItem(position);
  }
  return true;
}

bool operator==(const ValueTree& a, const ValueTree& b) {
  if (!isContainer(a)) return mayEqual(a, b);
  return Comparison().run(a, b);
}

}  // namespace vantrel
