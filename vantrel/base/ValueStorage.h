#pragma once

#include <array>
#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string_view>
#include <utility>

#include "vantrel/base/Arena.h"
#include "vantrel/base/ValueTree.h"

/// How a `ValueTree` keeps what does not fit into its sixteen bytes. For readers and writers of formats that
/// build trees, or walk them, without a copy; everybody else has enough in ValueTree.h, and this may change
/// from version to version.
///
/// A block is either counted by itself on the heap, or lies in an arena together with everything that was
/// parsed from one text. There, most contents have no block of their own: they lie bare in the arena's room,
/// and the value that leads to them holds their count. What lies in an arena carries no counts and is never
/// destroyed one by one; a value outside that points into an arena counts the arena. A block that more than
/// one value points to, and all of an arena, never changes: who wants to change it makes a copy on the heap
/// first.
namespace vantrel::storage {

/// What stands at the head of every block.
struct Block {
  Arena* arena;                    ///< null for a block on the heap
  std::atomic<std::size_t> users;  ///< of a block on the heap
};

/// A string that is too long to lie in the value itself.
struct VANTREL_EXPORT Text : Block {
  std::string_view view;

  /// On the heap with one user; the characters follow the head.
  static Text* create(std::string_view text);
};

struct Data : Block {
  Bytes bytes;
};

/// Where a large dictionary's keys stand: a hash table with open addressing, at most two thirds full, keyed
/// by a secret of this process, so that no choice of keys makes it slow.
struct VANTREL_EXPORT KeyIndex {
  using Member = ValueTree::Member;
  using Slot = std::uint32_t;  ///< zero for a free one, else a member's position + 1

  std::size_t mask;  ///< count of slots - 1

  static std::size_t bytesFor(std::size_t members) noexcept;

  /// On the heap, without entries. Throws `std::bad_alloc` also for more members than slots can tell apart.
  static KeyIndex* create(std::size_t members);

  /// Without entries in memory of `bytesFor(members)` bytes.
  static KeyIndex* createAt(void* memory, std::size_t members) noexcept;

  bool holds(std::size_t members) const noexcept { return members * 3 <= (mask + 1) * 2; }
  std::size_t bytes() const noexcept { return sizeof(KeyIndex) + (mask + 1) * sizeof(Slot); }
  Slot* slots() noexcept { return reinterpret_cast<Slot*>(this + 1); }

  /// Where `key` is, or the free slot where it belongs.
  Slot* slot(const Member* members, std::string_view key) noexcept;

  /// Takes up these members, holes left out; it must be without entries.
  void fill(const Member* members, std::size_t count) noexcept;

  /// Forgets the member under `key`, which must be there.
  void erase(const Member* members, std::string_view key) noexcept;
};

/// A list's items or a dictionary's members.
///
/// Where a member is removed from a large dictionary, a hole stays (a member with a null key), so that no
/// other one moves: never the last, never more holes than members.
struct VANTREL_EXPORT Container : Block {
  std::size_t used;  ///< items, or members and holes
  union {
    std::size_t capacity;  ///< of one on the heap
    Container* nextDead;   ///< while destruction is under way
  };
  KeyIndex* index;   ///< of dictionaries of more than `kUnindexed` members, else null
  ValueTree* cells;  ///< behind the head; of one in an arena in its room
  bool isDictionary;
  std::uint32_t holes;  ///< as many as a `KeyIndex` has members at most

  static constexpr std::size_t kUnindexed = 16;
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

  /// Empty, on the heap, with one user.
  static Container* create(bool isDictionary, std::size_t capacity);

  /// Around what lies in the room of an arena; of equal keys as `mergeEqualKeys`. Null past the arena's
  /// limit.
  static Container* create(Arena& arena, bool isDictionary, ValueTree* cells, std::size_t size);

  ValueTree::Member* members() noexcept { return reinterpret_cast<ValueTree::Member*>(cells); }
  std::size_t size() const noexcept { return used - holes; }
  std::size_t cellCount() const noexcept { return isDictionary ? used * 2 : used; }

  /// Makes room in the index for one member more.
  void reserveIndex();

  /// Takes the last member up into the index, which has room.
  void indexLast() noexcept;

  void removeItem(std::size_t position) noexcept;
  void removeMember(std::size_t position) noexcept;

  /// Closes the holes.
  void compact() noexcept;

  /// Frees the head and the room behind it, but nothing that the values in it refer to.
  void free() noexcept;
};

/// For members of an arena that were laid down unchecked: of equal keys, the first place and the last value
/// stay. Gives the count of those that are left. The index, which may be null for few members, must be empty.
VANTREL_EXPORT std::size_t mergeEqualKeys(ValueTree::Member* members, std::size_t count,
                                          KeyIndex* index) noexcept;

/// The way to a value's insides for what is built beside the class.
struct VANTREL_EXPORT ValueAccess {
  using Kind = ValueTree::Kind;
  using Member = ValueTree::Member;

  static constexpr std::size_t kInlineText = ValueTree::kInlineText;

  /// Most characters, items or members that can lie bare in an arena.
  static constexpr std::size_t kMostBare = std::numeric_limits<std::uint16_t>::max();

  static bool isBare(const ValueTree& value) noexcept { return value.cell_.tag == ValueTree::kInArena; }

  /// Of a list or dictionary; null when it is empty or lies bare in an arena.
  static Container* container(const ValueTree& value) noexcept {
    return value.cell_.tag == ValueTree::kShared ? static_cast<Container*>(value.cell_.value.block) : nullptr;
  }
  /// Of a list its items, of a dictionary each member's key and value; null when it is empty.
  static ValueTree* cells(const ValueTree& value) noexcept {
    if (isBare(value)) return value.cell_.value.cells;
    const Container* const own = container(value);
    return own != nullptr ? own->cells : nullptr;
  }
  static Member* members(const ValueTree& value) noexcept { return reinterpret_cast<Member*>(cells(value)); }
  /// Count of a list's items or a dictionary's members, `slots` with the holes among them.
  static std::size_t size(const ValueTree& value) noexcept {
    const Container* const own = container(value);
    return own != nullptr ? own->size() : value.cell_.count;
  }
  static std::size_t slots(const ValueTree& value) noexcept {
    const Container* const own = container(value);
    return own != nullptr ? own->used : value.cell_.count;
  }
  static bool isHole(const Member& member) noexcept { return member.key_.kind() == Kind::Null; }
  /// The position of a dictionary's member, or `Container::kNone`.
  static std::size_t position(const ValueTree& value, std::string_view key) noexcept;

  static bool isCounted(const ValueTree& value) noexcept { return value.isCounted(); }
  static ValueTree& value(Member& member) noexcept { return member.value_; }
  /// The first key of a member from `key` on, at which a member's two cells begin.
  static const ValueTree* skipHoles(const ValueTree* key, const ValueTree* end) noexcept {
    while (key != end && key->kind() == Kind::Null) key += 2;
    return key;
  }
  /// Leaves a hole.
  static Member taken(Member& member) noexcept { return std::move(member); }
  static const ValueTree& key(const Member& member) noexcept { return member.key_; }

  /// A value whose contents are in `block` (null for an empty container); takes over one count.
  static ValueTree make(Kind kind, Block* block) noexcept {
    ValueTree value(kind);
    if (block == nullptr) return value;
    value.cell_.tag = ValueTree::kShared;
    value.cell_.value.block = block;
    return value;
  }
  /// A value whose contents, at most `kMostBare`, lie bare in the room of `arena`; counts nothing.
  static ValueTree bare(const Arena& arena, Kind kind, ValueTree* cells, std::size_t count) noexcept {
    ValueTree value = bareAt(arena.distanceTo(cells), kind, count);
    value.cell_.value.cells = cells;
    return value;
  }
  static ValueTree bare(const Arena& arena, std::string_view text) noexcept {
    ValueTree value = bareAt(arena.distanceTo(text.data()), Kind::String, text.size());
    value.cell_.value.text = text.data();
    return value;
  }
  /// A string of at most `kInlineText` bytes; that many can be read from `text` on, whatever its length.
  static ValueTree shortText(const char* text, std::size_t length) noexcept {
    // Put together in registers: what is stored in parts and loaded as a whole costs a stall.
    constexpr bool isLittle = std::endian::native == std::endian::little;
    constexpr int kHead = 8 * kTextOffset;
    const std::uint64_t kind = static_cast<std::uint8_t>(Kind::String);
    Words words;
    std::memcpy(&words[0], text, 8);
    std::memcpy(&words[1], text + 8 - kTextOffset, 8);
    words[0] = isLittle ? words[0] << kHead | length << 8 | kind
                        : words[0] >> kHead | length << (64 - kHead) | kind << 56;
    words = {words[0] & kMasks[length][0], words[1] & kMasks[length][1]};
    ValueTree value(Kind::String);
    std::memcpy(static_cast<void*>(&value.cell_), &words, sizeof words);
    return value;
  }
  /// A string of at most `kInlineText` bytes.
  static ValueTree shortText(std::string_view text) noexcept {
    ValueTree value(Kind::String);
    value.cell_.tag = static_cast<std::uint8_t>(text.size());
    text.copy(inlineText(value), text.size());
    return value;
  }
  static std::string_view text(const ValueTree& value) noexcept {
    const Cell& cell = value.cell_;
    if (cell.tag <= kInlineText) return {reinterpret_cast<const char*>(&cell) + kTextOffset, cell.tag};
    if (isBare(value)) return {cell.value.text, cell.count};
    return static_cast<const Text*>(cell.value.block)->view;
  }
  /// Equal for equal strings, and for few others.
  static std::uint32_t fingerprint(const ValueTree& string) noexcept {
    // A short string's cell is the same for equal strings: behind the text it is zero.
    Words words;
    std::memcpy(&words, &string.cell_, sizeof words);
    if (string.isCounted()) {
      const std::string_view view = text(string);
      std::memcpy(&words[0], view.data(), 8);
      std::memcpy(&words[1], view.data() + view.size() - 8, 8);
      words[0] += view.size();
    }
    const std::uint64_t mixed = (words[0] ^ std::rotl(words[1], 29)) * 0x9e3779b97f4a7c15;
    return static_cast<std::uint32_t>(mixed >> 32);
  }
  /// True where each key of two dictionaries' cells is bit by bit that of the other one, as it is of equal
  /// keys that are short.
  static bool haveSameShortKeys(const ValueTree* some, const ValueTree* others,
                                std::size_t members) noexcept {
    std::uint64_t differing = 0;
    for (std::size_t i = 0; i < members * 2; i += 2) {
      Words one;
      Words other;
      std::memcpy(&one, &some[i].cell_, sizeof one);
      std::memcpy(&other, &others[i].cell_, sizeof other);
      differing |= (one[0] ^ other[0]) | (one[1] ^ other[1]);
    }
    return differing == 0;
  }
  static Member member(ValueTree key, ValueTree value) noexcept {
    return Member(std::move(key), std::move(value));
  }

  /// The container, changed to one that is on the heap, used by `value` alone and has room for `extra` more.
  static Container* writable(ValueTree& value, std::size_t extra);

  /// Ends a block that nothing counts any more, and all that only it kept alive.
  static void destroy(Kind kind, Block* block) noexcept;

 private:
  using Cell = ValueTree::Cell;
  using Words = std::array<std::uint64_t, 2>;

  static constexpr std::size_t kTextOffset = offsetof(Cell, count);
  static_assert(sizeof(Cell) == kTextOffset + kInlineText);

  /// By a short string's length: ones for the part of its cell that is in use.
  static constexpr auto kMasks = [] {
    std::array<Words, kInlineText + 1> masks{};
    for (std::size_t length = 0; length <= kInlineText; ++length) {
      std::array<std::uint8_t, sizeof(Words)> bytes{};
      for (std::size_t i = 0; i < kTextOffset + length; ++i) bytes[i] = 0xff;
      masks[length] = std::bit_cast<Words>(bytes);
    }
    return masks;
  }();

  static ValueTree bareAt(std::uint32_t place, Kind kind, std::size_t count) noexcept {
    ValueTree value(kind);
    value.cell_.tag = ValueTree::kInArena;
    value.cell_.count = static_cast<std::uint16_t>(count);
    value.cell_.place = place;
    return value;
  }
  static char* inlineText(ValueTree& value) noexcept {
    return reinterpret_cast<char*>(&value.cell_) + kTextOffset;
  }
};

}  // namespace vantrel::storage
