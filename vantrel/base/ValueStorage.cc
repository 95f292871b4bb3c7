#include "vantrel/base/ValueStorage.h"

#include <algorithm>
#include <bit>
#include <memory>
#include <new>

#include "vantrel/base/detail/KeyHash.h"

namespace vantrel::storage {

namespace {

/// True when that was the last user.
bool dropUser(Block& block) noexcept {
  return block.users.load(std::memory_order_acquire) == 1 ||
         block.users.fetch_sub(1, std::memory_order_acq_rel) == 1;
}

std::size_t positionAmong(const ValueTree::Member* members, std::size_t count,
                          std::string_view key) noexcept {
  for (std::size_t i = 0; i < count; ++i) {
    if (members[i].key() == key) return i;
  }
  return Container::kNone;
}

/// So many slots that they are at most two thirds full.
std::size_t slotsFor(std::size_t members) noexcept { return std::bit_ceil(members + (members + 1) / 2); }

}  // namespace

Text* Text::create(std::string_view text) {
  char* const memory = static_cast<char*>(::operator new(sizeof(Text) + text.size()));
  char* const characters = memory + sizeof(Text);
  text.copy(characters, text.size());
  return new (memory) Text{{nullptr, {1}}, {characters, text.size()}};
}

std::size_t KeyIndex::bytesFor(std::size_t members) noexcept {
  return sizeof(KeyIndex) + slotsFor(members) * sizeof(Slot);
}

KeyIndex* KeyIndex::create(std::size_t members) {
  if (members >= std::numeric_limits<Slot>::max()) throw std::bad_alloc();
  return createAt(::operator new(bytesFor(members)), members);
}

KeyIndex* KeyIndex::createAt(void* memory, std::size_t members) noexcept {
  auto* const index = new (memory) KeyIndex{slotsFor(members) - 1};
  std::fill_n(index->slots(), index->mask + 1, Slot{0});
  return index;
}

KeyIndex::Slot* KeyIndex::slot(const Member* members, std::string_view key) noexcept {
  Slot* const all = slots();
  std::size_t i = base::detail::hashOfKey(key) & mask;
  while (all[i] != 0 && members[all[i] - 1].key() != key) i = (i + 1) & mask;
  return &all[i];
}

void KeyIndex::fill(const Member* members, std::size_t count) noexcept {
  for (std::size_t i = 0; i < count; ++i) {
    if (!ValueAccess::isHole(members[i])) *slot(members, members[i].key()) = static_cast<Slot>(i + 1);
  }
}

void KeyIndex::erase(const Member* members, std::string_view key) noexcept {
  Slot* const all = slots();
  auto free = static_cast<std::size_t>(slot(members, key) - all);
  // What was put further back because this slot was taken moves up.
  for (std::size_t i = (free + 1) & mask; all[i] != 0; i = (i + 1) & mask) {
    const std::size_t first = base::detail::hashOfKey(members[all[i] - 1].key()) & mask;
    if (((i - first) & mask) < ((i - free) & mask)) continue;
    all[std::exchange(free, i)] = all[i];
  }
  all[free] = 0;
}

Container* Container::create(bool isDictionary, std::size_t capacity) {
  const std::size_t cellCount = isDictionary ? capacity * 2 : capacity;
  void* const memory = ::operator new(sizeof(Container) + cellCount * sizeof(ValueTree));
  auto* const cells = reinterpret_cast<ValueTree*>(static_cast<char*>(memory) + sizeof(Container));
  return new (memory) Container{{nullptr, {1}}, 0, {capacity}, nullptr, cells, isDictionary, 0};
}

Container* Container::create(Arena& arena, bool isDictionary, ValueTree* cells, std::size_t size) {
  const bool isIndexed = isDictionary && size > kUnindexed;
  if (isIndexed && size >= std::numeric_limits<KeyIndex::Slot>::max()) return nullptr;
  const std::size_t indexBytes = isIndexed ? KeyIndex::bytesFor(size) : 0;
  void* const memory = arena.allocate(sizeof(Container) + indexBytes);
  if (memory == nullptr) return nullptr;
  auto* const made = new (memory) Container{{&arena, {1}}, size, {size}, nullptr, cells, isDictionary, 0};
  if (isIndexed) made->index = KeyIndex::createAt(made + 1, size);
  if (isDictionary) made->used = mergeEqualKeys(made->members(), size, made->index);
  return made;
}

void Container::reserveIndex() {
  const std::size_t needed = size() + 1;
  if (used >= std::numeric_limits<KeyIndex::Slot>::max()) throw std::bad_alloc();
  if (needed <= kUnindexed || (index != nullptr && index->holds(needed))) return;
  KeyIndex* const larger = KeyIndex::create(needed);
  larger->fill(members(), used);
  ::operator delete(std::exchange(index, larger));
}

void Container::indexLast() noexcept {
  if (index == nullptr) return;
  *index->slot(members(), members()[used - 1].key()) = static_cast<KeyIndex::Slot>(used);
}

void Container::removeItem(std::size_t position) noexcept {
  ValueTree* const place = cells + position;
  const ValueTree removed(std::move(*place));
  // Values may be moved byte by byte.
  std::memmove(static_cast<void*>(place), static_cast<const void*>(place + 1),
               (--used - position) * sizeof(ValueTree));
}

void Container::removeMember(std::size_t position) noexcept {
  ValueTree::Member* const all = members();
  if (index != nullptr) index->erase(all, all[position].key());
  const ValueTree::Member removed = ValueAccess::taken(all[position]);
  ++holes;
  while (used != 0 && ValueAccess::isHole(all[used - 1])) --used, --holes;
  if (size() <= kUnindexed || holes > size()) compact();
}

void Container::compact() noexcept {
  ValueTree::Member* const all = members();
  if (size() <= kUnindexed) ::operator delete(std::exchange(index, nullptr));
  std::size_t left = 0;
  for (std::size_t i = 0; i < used; ++i) {
    if (ValueAccess::isHole(all[i])) continue;
    if (left != i) {
      // One by one, as clearing an index may take longer than filling it: it never becomes smaller.
      if (index != nullptr) *index->slot(all, all[i].key()) = static_cast<KeyIndex::Slot>(left + 1);
      std::memcpy(static_cast<void*>(&all[left]), static_cast<const void*>(&all[i]), sizeof all[i]);
    }
    ++left;
  }
  used = left;
  holes = 0;
}

void Container::free() noexcept {
  ::operator delete(index);
  ::operator delete(static_cast<void*>(this));
}

namespace {

bool mayHoldEqualKeys(ValueTree::Member* members, std::size_t count) noexcept {
  std::uint32_t fingerprints[Container::kUnindexed];
  // Comparing all is cheaper than finding the pairs that are worth it.
  unsigned equal = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint32_t own = fingerprints[i] = ValueAccess::fingerprint(ValueAccess::key(members[i]));
    for (std::size_t j = 0; j < i; ++j) equal |= fingerprints[j] == own ? 1 : 0;
  }
  return equal != 0;
}

}  // namespace

std::size_t mergeEqualKeys(ValueTree::Member* members, std::size_t count, KeyIndex* index) noexcept {
  if (index == nullptr && !mayHoldEqualKeys(members, count)) return count;
  std::size_t left = 0;
  for (std::size_t i = 0; i < count; ++i) {
    ValueTree::Member& member = members[i];
    KeyIndex::Slot* const entry = index != nullptr ? index->slot(members, member.key()) : nullptr;
    const std::size_t earlier =
        entry != nullptr ? std::size_t{*entry} - 1 : positionAmong(members, left, member.key());
    // Nothing in an arena is counted, so values are moved byte by byte.
    if (earlier != Container::kNone) {
      std::memcpy(static_cast<void*>(&ValueAccess::value(members[earlier])),
                  static_cast<const void*>(&member.value()), sizeof(ValueTree));
    } else {
      void* const place = &members[left];
      if (left != i) std::memcpy(place, static_cast<const void*>(&member), sizeof member);
      ++left;
      if (entry != nullptr) *entry = static_cast<KeyIndex::Slot>(left);
    }
  }
  return left;
}

namespace {

struct FreeContainer {
  void operator()(Container* container) const noexcept { container->free(); }
};

/// A copy on the heap of a list or dictionary that is not empty.
Container* cloned(const ValueTree& from, std::size_t capacity) {
  const bool isDictionary = from.kind() == ValueTree::Kind::Dictionary;
  std::unique_ptr<Container, FreeContainer> copy(Container::create(isDictionary, capacity));
  const Container* const other = ValueAccess::container(from);
  if (other != nullptr && other->index != nullptr) {
    const std::size_t bytes = other->index->bytes();
    copy->index = static_cast<KeyIndex*>(std::memcpy(::operator new(bytes), other->index, bytes));
  }
  copy->used = ValueAccess::slots(from);
  copy->holes = other != nullptr ? other->holes : 0;
  std::uninitialized_copy_n(ValueAccess::cells(from), copy->cellCount(), copy->cells);
  return copy.release();
}

/// The same values in more room; values may be moved byte by byte.
Container* grown(Container* from, std::size_t capacity) {
  Container* const larger = Container::create(from->isDictionary, capacity);
  std::memcpy(static_cast<void*>(larger->cells), static_cast<void*>(from->cells),
              from->cellCount() * sizeof(ValueTree));
  larger->used = from->used;
  larger->holes = from->holes;
  larger->index = std::exchange(from->index, nullptr);
  from->free();
  return larger;
}

}  // namespace

std::size_t ValueAccess::position(const ValueTree& value, std::string_view key) noexcept {
  const Container* const own = container(value);
  if (own == nullptr || own->index == nullptr) return positionAmong(members(value), size(value), key);
  return std::size_t{*own->index->slot(members(value), key)} - 1;
}

Container* ValueAccess::writable(ValueTree& value, std::size_t extra) {
  constexpr std::size_t kFirstCapacity = 4;
  const std::size_t before = slots(value);
  if (before == 0 && container(value) == nullptr) {
    Container* const first =
        Container::create(value.kind() == Kind::Dictionary, std::max(extra, kFirstCapacity));
    value = make(value.kind(), first);
    return first;
  }
  Container* const now = container(value);
  const std::size_t needed = before + extra;
  const bool isOurs =
      now != nullptr && now->arena == nullptr && now->users.load(std::memory_order_acquire) == 1;
  if (isOurs && needed <= now->capacity) return now;
  // As many as a third of the members pay for it.
  if (isOurs && now->holes > before / 4) {
    now->compact();
    return now;
  }
  const std::size_t capacity = extra == 0 ? needed : std::max(needed, before * 2);
  if (isOurs) {
    value.cell_.value.block = grown(now, capacity);
  } else {
    value = make(value.kind(), cloned(value, capacity));
  }
  return container(value);
}

void ValueAccess::destroy(Kind kind, Block* block) noexcept {
  if (kind == Kind::String) return ::operator delete(static_cast<void*>(block));
  if (kind == Kind::Data) return delete static_cast<Data*>(block);
  // The containers that die with this one wait in a chain, because a tree may be deeper than any stack.
  auto* dead = static_cast<Container*>(block);
  dead->nextDead = nullptr;
  while (dead != nullptr) {
    Container* const dying = std::exchange(dead, dead->nextDead);
    ValueTree* const cells = dying->cells;
    const std::size_t count = dying->cellCount();
    for (std::size_t i = 0; i < count; ++i) {
      if (!cells[i].isCounted()) continue;
      const bool isContainer = cells[i].kind() == Kind::List || cells[i].kind() == Kind::Dictionary;
      Container* const child = isContainer ? container(cells[i]) : nullptr;
      if (child == nullptr || child->arena != nullptr) {
        cells[i].release();
      } else if (dropUser(*child)) {
        child->nextDead = std::exchange(dead, child);
      }
    }
    dying->free();
  }
}

}  // namespace vantrel::storage

namespace vantrel {

using namespace storage;

void ValueTree::retain() const noexcept {
  if (cell_.tag == kInArena) return Arena::at(cell_.value.text, cell_.place)->retain();
  Block& block = *cell_.value.block;
  if (block.arena != nullptr) return block.arena->retain();
  block.users.fetch_add(1, std::memory_order_relaxed);
}

void ValueTree::release() noexcept {
  if (cell_.tag == kInArena) return Arena::at(cell_.value.text, cell_.place)->release();
  // What is counted has a block.
  Block& block = *cell_.value.block;  // NOLINT(clang-analyzer-core.NullDereference)
  if (block.arena != nullptr) return block.arena->release();
  if (dropUser(block)) ValueAccess::destroy(cell_.kind, &block);
}

}  // namespace vantrel
