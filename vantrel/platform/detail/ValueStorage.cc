#include "vantrel/platform/detail/ValueStorage.h"

#include <algorithm>
#include <bit>
#include <memory>
#include <new>

#include "vantrel/platform/detail/KeyHash.h"

namespace vantrel::platform::detail {

namespace {

constexpr std::size_t kSmallestChunk = 4096;
constexpr std::size_t kLargestChunk = std::size_t{1} << 20;

std::size_t cellSize(bool isDictionary) {
  return isDictionary ? sizeof(ValueTree::Member) : sizeof(ValueTree);
}

/// True when that was the last user.
bool dropUser(Block& block) noexcept {
  return block.users.load(std::memory_order_acquire) == 1 ||
         block.users.fetch_sub(1, std::memory_order_acq_rel) == 1;
}

}  // namespace

Arena* Arena::create(std::size_t capacity) {
  const std::size_t size = sizeof(Chunk) + sizeof(Arena) + capacity;
  char* const memory = static_cast<char*>(::operator new(size));
  auto* const arena = new (memory + sizeof(Chunk)) Arena;
  arena->chunks_ = new (memory) Chunk{nullptr};
  arena->next_ = memory + sizeof(Chunk) + sizeof(Arena);
  arena->end_ = memory + size;
  arena->chunkSize_ = std::clamp(size, kSmallestChunk, kLargestChunk);
  return arena;
}

void* Arena::allocateChunk(std::size_t size) {
  const std::size_t room = std::max(size, chunkSize_);
  char* const memory = static_cast<char*>(::operator new(sizeof(Chunk) + room));
  chunks_ = new (memory) Chunk{chunks_};
  next_ = memory + sizeof(Chunk) + size;
  end_ = memory + sizeof(Chunk) + room;
  return memory + sizeof(Chunk);
}

void Arena::release() noexcept {
  if (users_.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
  // The first chunk, which holds this object, is the last in the chain.
  for (Chunk* chunk = chunks_; chunk != nullptr;) ::operator delete(std::exchange(chunk, chunk->previous));
}

Text* Text::create(std::string_view text) {
  char* const memory = static_cast<char*>(::operator new(sizeof(Text) + text.size()));
  char* const characters = memory + sizeof(Text);
  text.copy(characters, text.size());
  return new (memory) Text{{nullptr, {1}}, {characters, text.size()}};
}

Container* Container::create(bool isDictionary, std::size_t capacity, Arena* arena) {
  const std::size_t size = sizeof(Container) + capacity * cellSize(isDictionary);
  void* const memory = arena != nullptr ? arena->allocate(size) : ::operator new(size);
  return new (memory) Container{{arena, {1}}, 0, {capacity}, nullptr, isDictionary};
}

std::size_t Container::position(std::string_view key) noexcept {
  if (index != nullptr) return *slot(key) - 1;
  for (std::size_t i = 0; i < size; ++i) {
    if (members()[i].key() == key) return i;
  }
  return kNone;
}

std::size_t* Container::slot(std::string_view key) noexcept {
  std::size_t* const slots = index->slots();
  std::size_t i = hashOfKey(key) & index->mask;
  while (slots[i] != 0 && members()[slots[i] - 1].key() != key) i = (i + 1) & index->mask;
  return &slots[i];
}

void Container::indexLast() {
  if (size <= kUnindexed) return;
  if (index == nullptr || size * 2 > index->mask + 1) return rebuildIndex();
  *slot(members()[size - 1].key()) = size;
}

void Container::rebuildIndex() {
  createIndex();
  if (index == nullptr) return;
  for (std::size_t i = 0; i < size; ++i) *slot(members()[i].key()) = i + 1;
}

void Container::createIndex() {
  if (arena == nullptr) ::operator delete(index);
  index = nullptr;
  if (size <= kUnindexed) return;
  const std::size_t slots = std::bit_ceil(size * 2);
  const std::size_t bytes = sizeof(KeyIndex) + slots * sizeof(std::size_t);
  index = new (arena != nullptr ? arena->allocate(bytes) : ::operator new(bytes)) KeyIndex{slots - 1};
  std::fill_n(index->slots(), slots, std::size_t{0});
}

bool Container::mayHoldEqualKeys() noexcept {
  std::uint32_t fingerprints[kUnindexed];
  // Comparing all is cheaper than finding the pairs that are worth it.
  unsigned equal = 0;
  for (std::size_t i = 0; i < size; ++i) {
    const std::uint32_t own = fingerprints[i] = ValueAccess::fingerprint(ValueAccess::key(members()[i]));
    for (std::size_t j = 0; j < i; ++j) equal |= fingerprints[j] == own ? 1 : 0;
  }
  return equal != 0;
}

void Container::mergeEqualKeys() {
  if (size <= kUnindexed && !mayHoldEqualKeys()) return;
  createIndex();
  const std::size_t count = std::exchange(size, 0);
  for (std::size_t i = 0; i < count; ++i) {
    ValueTree::Member& member = members()[i];
    std::size_t* const entry = index != nullptr ? slot(member.key()) : nullptr;
    const std::size_t earlier = entry != nullptr ? *entry - 1 : position(member.key());
    // Nothing in an arena is counted, so values are moved byte by byte.
    if (earlier != kNone) {
      std::memcpy(static_cast<void*>(&ValueAccess::value(members()[earlier])),
                  static_cast<const void*>(&member.value()), sizeof(ValueTree));
    } else {
      void* const place = &members()[size];
      if (size != i) std::memcpy(place, static_cast<const void*>(&member), sizeof member);
      ++size;
      if (entry != nullptr) *entry = size;
    }
  }
}

void Container::free() noexcept {
  ::operator delete(index);
  ::operator delete(static_cast<void*>(this));
}

namespace {

/// A copy on the heap.
Container* cloned(Container& from, std::size_t capacity) {
  Container* const copy = Container::create(from.isDictionary, capacity);
  if (from.isDictionary) {
    std::uninitialized_copy_n(from.members(), from.size, copy->members());
  } else {
    std::uninitialized_copy_n(from.items(), from.size, copy->items());
  }
  copy->size = from.size;
  copy->rebuildIndex();
  return copy;
}

/// The same values in more room; values may be moved byte by byte.
Container* grown(Container* from, std::size_t capacity) {
  Container* const larger = Container::create(from->isDictionary, capacity);
  std::memcpy(static_cast<void*>(larger + 1), static_cast<void*>(from + 1),
              from->size * cellSize(from->isDictionary));
  larger->size = from->size;
  larger->index = std::exchange(from->index, nullptr);
  from->free();
  return larger;
}

}  // namespace

Container* ValueAccess::writable(ValueTree& value, std::size_t extra) {
  constexpr std::size_t kFirstCapacity = 4;
  Container* const now = container(value);
  const bool isDictionary = value.kind() == Kind::Dictionary;
  if (now == nullptr) {
    Container* const first = Container::create(isDictionary, std::max(extra, kFirstCapacity));
    value = make(value.kind(), first);
    return first;
  }
  const std::size_t needed = now->size + extra;
  const bool isOurs = now->arena == nullptr && now->users.load(std::memory_order_acquire) == 1;
  if (isOurs && needed <= now->capacity) return now;
  const std::size_t capacity = extra == 0 ? needed : std::max(needed, now->size * 2);
  if (isOurs) {
    value.cell_.value.block = grown(now, capacity);
  } else {
    value = make(value.kind(), cloned(*now, capacity));
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
    // A member is a key and a value, both of them values.
    ValueTree* const values = dying->items();
    const std::size_t count = dying->isDictionary ? dying->size * 2 : dying->size;
    for (std::size_t i = 0; i < count; ++i) {
      if (!values[i].isShared()) continue;
      Container* const child = container(values[i]);
      const bool isContainer = values[i].kind() == Kind::List || values[i].kind() == Kind::Dictionary;
      if (!isContainer || child->arena != nullptr) {
        values[i].release();
      } else if (dropUser(*child)) {
        child->nextDead = std::exchange(dead, child);
      }
    }
    dying->free();
  }
}

}  // namespace vantrel::platform::detail

namespace vantrel {

using namespace platform::detail;

void ValueTree::retain() const noexcept {
  Block& block = *cell_.value.block;
  if (block.arena != nullptr) return block.arena->retain();
  block.users.fetch_add(1, std::memory_order_relaxed);
}

void ValueTree::release() noexcept {
  Block& block = *cell_.value.block;
  if (block.arena != nullptr) return block.arena->release();
  if (dropUser(block)) ValueAccess::destroy(cell_.kind, &block);
}

}  // namespace vantrel
