#pragma once

#include <array>
#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <utility>

#include "vantrel/platform/ValueTree.h"

/// How a `ValueTree` keeps what does not fit into its sixteen bytes.
///
/// A block is either counted by itself on the heap, or lies in an arena together with everything that was
/// parsed from one text. What lies in an arena carries no counts and is never destroyed one by one; a value
/// outside that points into an arena counts the arena. A block that more than one value points to, and every
/// block of an arena, never changes: who wants to change it makes a copy on the heap first.
namespace vantrel::platform::detail {

/// Memory that is given out piece by piece and freed as a whole, when its last user lets go of it.
class Arena {
 public:
  /// Counted once; the first chunk has room for `capacity` bytes.
  static Arena* create(std::size_t capacity);

  void retain() noexcept { users_.fetch_add(1, std::memory_order_relaxed); }
  void release() noexcept;

  /// Aligned to eight bytes.
  void* allocate(std::size_t size) {
    size = (size + 7) & ~std::size_t{7};
    if (size > static_cast<std::size_t>(end_ - next_)) return allocateChunk(size);
    void* const place = next_;
    next_ += size;
    return place;
  }

 private:
  struct Chunk {
    Chunk* previous;
  };

  void* allocateChunk(std::size_t size);

  std::atomic<std::size_t> users_{1};
  Chunk* chunks_ = nullptr;
  char* next_ = nullptr;
  char* end_ = nullptr;
  std::size_t chunkSize_ = 0;
};

/// What stands at the head of every block.
struct Block {
  Arena* arena;                    ///< null for a block on the heap
  std::atomic<std::size_t> users;  ///< of a block on the heap
};

/// A string that is too long to lie in the value itself.
struct Text : Block {
  std::string_view view;

  /// On the heap with one user; the characters follow the head.
  static Text* create(std::string_view text);
};

struct Data : Block {
  Bytes bytes;
};

/// Where a large dictionary's keys stand: a hash table with open addressing, at most half full, keyed by a
/// secret of this process, so that no choice of keys makes it slow.
struct KeyIndex {
  std::size_t mask;  ///< count of slots - 1

  /// Zero for a free slot, else the member's position + 1.
  std::size_t* slots() noexcept { return reinterpret_cast<std::size_t*>(this + 1); }
};

/// A list's items or a dictionary's members, which follow the head.
struct Container : Block {
  std::size_t size;
  union {
    std::size_t capacity;
    Container* nextDead;  ///< while destruction is under way
  };
  KeyIndex* index;  ///< of dictionaries of more than `kUnindexed` members, else null
  bool isDictionary;

  static constexpr std::size_t kUnindexed = 16;
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

  /// Empty; on the heap with one user, or in the arena.
  static Container* create(bool isDictionary, std::size_t capacity, Arena* arena = nullptr);

  ValueTree* items() noexcept { return reinterpret_cast<ValueTree*>(this + 1); }
  ValueTree::Member* members() noexcept { return reinterpret_cast<ValueTree::Member*>(this + 1); }

  /// The position of a member, or `kNone`.
  std::size_t position(std::string_view key) noexcept;

  /// Brings the index up to date after a member was added at the end, or anything else happened.
  void indexLast();
  void rebuildIndex();

  /// For members of an arena that were laid down unchecked: of equal keys, the first place and the last value
  /// stay. Indexes them too.
  void mergeEqualKeys();

  /// Frees the head and the room behind it, but nothing that the values in it refer to.
  void free() noexcept;

 private:
  void createIndex();
  bool mayHoldEqualKeys() noexcept;

  /// Where the index has `key`, or the free slot where it belongs.
  std::size_t* slot(std::string_view key) noexcept;
};

/// The way to a value's insides for what is built beside the class.
struct ValueAccess {
  using Kind = ValueTree::Kind;
  using Member = ValueTree::Member;

  static constexpr std::size_t kInlineText = ValueTree::kInlineText;

  /// Of a list or dictionary that is not empty, else null.
  static Container* container(const ValueTree& value) noexcept {
    return value.isShared() ? static_cast<Container*>(value.cell_.value.block) : nullptr;
  }
  static bool isShared(const ValueTree& value) noexcept { return value.isShared(); }
  static ValueTree& value(Member& member) noexcept { return member.value_; }
  static const ValueTree& key(const Member& member) noexcept { return member.key_; }

  /// A value whose contents are in `block` (null for an empty container); takes over one count.
  static ValueTree make(Kind kind, Block* block) noexcept {
    ValueTree value(kind);
    if (block == nullptr) return value;
    value.cell_.tag = ValueTree::kShared;
    value.cell_.value.block = block;
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
    if (value.isShared()) return static_cast<const Text*>(value.cell_.value.block)->view;
    return {reinterpret_cast<const char*>(&value.cell_) + kTextOffset, value.cell_.tag};
  }
  /// Equal for equal strings, and for few others.
  static std::uint32_t fingerprint(const ValueTree& string) noexcept {
    // A short string's cell is the same for equal strings: behind the text it is zero.
    Words words;
    std::memcpy(&words, &string.cell_, sizeof words);
    if (string.isShared()) {
      const std::string_view view = text(string);
      std::memcpy(&words[0], view.data(), 8);
      std::memcpy(&words[1], view.data() + view.size() - 8, 8);
      words[0] += view.size();
    }
    const std::uint64_t mixed = (words[0] ^ std::rotl(words[1], 29)) * 0x9e3779b97f4a7c15;
    return static_cast<std::uint32_t>(mixed >> 32);
  }
  static Member member(ValueTree key, ValueTree value) noexcept {
    return Member(std::move(key), std::move(value));
  }

  /// The container, changed to one that is on the heap, used by `value` alone and has room for `extra` more.
  static Container* writable(ValueTree& value, std::size_t extra);

  /// Ends a block that nothing counts any more, and all that only it kept alive.
  static void destroy(Kind kind, Block* block) noexcept;

 private:
  static constexpr std::size_t kTextOffset = offsetof(ValueTree::Cell, text);

  using Words = std::array<std::uint64_t, 2>;

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

  static char* inlineText(ValueTree& value) noexcept {
    return reinterpret_cast<char*>(&value.cell_) + kTextOffset;
  }
};

}  // namespace vantrel::platform::detail
