#include <algorithm>
#include <cstring>
#include <memory>
#include <string>

#include "vantrel/base/ValueStorage.h"
#include "vantrel/data/Json.h"
#include "vantrel/data/detail/JsonCharacters.h"
#include "vantrel/data/detail/JsonFault.h"
#include "vantrel/data/detail/JsonNumber.h"
#include "vantrel/data/detail/JsonString.h"

namespace vantrel::json {

namespace {

using storage::Arena;
using storage::Container;
using storage::Text;
using storage::ValueAccess;
using Kind = ValueTree::Kind;

/// Cells for all values that a text may have. Values of containers that are not complete yet fill them from
/// the front, contents of complete ones from the back. Each value is in one of both, so that these never
/// meet.
///
/// The values own nothing, although they point into an arena, and are copied byte by byte.
class Cells {
 public:
  Cells(ValueTree* begin, std::size_t count) : begin_(begin), next_(begin), end_(begin + count) {}

  std::size_t pending() const { return static_cast<std::size_t>(next_ - begin_); }

  /// A new null value on top.
  ValueTree& add() { return *new (next_++) ValueTree; }
  void add(ValueTree&& value) { new (next_++) ValueTree(std::move(value)); }

  /// Moves the pending values from a position on to where they stay.
  ValueTree* complete(std::size_t from) {
    const std::size_t count = pending() - from;
    next_ -= count;
    end_ -= count;
    std::memmove(static_cast<void*>(end_), static_cast<const void*>(next_), count * sizeof(ValueTree));
    return end_;
  }

  /// Moves the only value that is pending.
  void take(ValueTree& result) {
    std::memcpy(static_cast<void*>(&result), static_cast<const void*>(--next_), sizeof result);
  }

 private:
  ValueTree* const begin_;
  ValueTree* next_;
  ValueTree* end_;
};

char* skipSpace(char* next) {
  // Few texts have any here, so the common case is one comparison.
  while (static_cast<unsigned char>(*next) <= ' ' &&
         (*next == ' ' || *next == '\n' || *next == '\r' || *next == '\t')) {
    ++next;
  }
  return next;
}

/// Bytes behind a text that the steps of reading may look at.
constexpr std::size_t kPadding = std::max(detail::kStringPadding, detail::kNumberPadding);

/// Reads a text in place and lays its values down in the arena. Behind the text stand `kPadding` zero bytes;
/// as JSON has no place for a zero byte, nothing ever reads on past the first.
///
/// Each step takes the place in the text where it starts and gives the one where it ended, null for what is
/// no JSON.
class Reader {
 public:
  Reader(Arena& arena, Cells cells) : arena_(arena), cells_(cells) {}

  char* read(char* next) {
    do {
      next = readValue(next);
      if (next != nullptr) next = readAfterValue(next);
    } while (next != nullptr && depth_ != 0);
    return next != nullptr ? skipSpace(next) : nullptr;
  }

  /// The value that was read; points into the arena without being counted.
  void takeResult(ValueTree& result) { cells_.take(result); }

 private:
  /// A container that is not complete: its values are the pending ones from `first` on.
  struct Open {
    std::size_t first;
    bool isDictionary;
  };

  /// A value that is no container or an empty one; before it the starts of those around it.
  char* readValue(char* next) {
    while (true) {
      next = skipSpace(next);
      switch (*next) {
        case '{':
        case '[': {
          const bool isDictionary = *next == '{';
          if (depth_ == kMaxDepth) return nullptr;
          next = skipSpace(next + 1);
          if (*next == (isDictionary ? '}' : ']')) {
            cells_.add(ValueAccess::make(isDictionary ? Kind::Dictionary : Kind::List, nullptr));
            return next + 1;
          }
          open_[depth_++] = {cells_.pending(), isDictionary};
          if (isDictionary && (next = readKey(next)) == nullptr) return nullptr;
          continue;
        }
        case '"':
          return readText(next + 1);
        case 't':
          return readName(next, "true", true);
        case 'f':
          return readName(next, "false", false);
        case 'n':
          return readName(next, "null", nullptr);
        default:
          // What it gives lies in the text that this may write to.
          return const_cast<char*>(detail::readNumber(next, cells_.add()));
      }
    }
  }

  /// The ends of the containers that the last value completes, and what leads to the next value.
  char* readAfterValue(char* next) {
    while (depth_ != 0) {
      const bool isDictionary = open_[depth_ - 1].isDictionary;
      next = skipSpace(next);
      if (*next == ',') return isDictionary ? readKey(skipSpace(next + 1)) : next + 1;
      if (*next != (isDictionary ? '}' : ']')) return nullptr;
      if (!closeContainer()) return nullptr;
      ++next;
    }
    return next;
  }

  bool closeContainer() {
    const auto [first, isDictionary] = open_[--depth_];
    const std::size_t cellCount = cells_.pending() - first;
    ValueTree* const cells = cells_.complete(first);
    const Kind kind = isDictionary ? Kind::Dictionary : Kind::List;
    std::size_t size = isDictionary ? cellCount / 2 : cellCount;
    if (size > (isDictionary ? Container::kUnindexed : ValueAccess::kMostBare)) {
      Container* const container = Container::create(arena_, isDictionary, cells, size);
      if (container == nullptr) return false;
      cells_.add(ValueAccess::make(kind, container));
      return true;
    }
    if (isDictionary) size = mergeEqualKeys(cells, size);
    cells_.add(ValueAccess::bare(arena_, kind, cells, size));
    return true;
  }

  /// Gives the count of members that are left. The records of a list mostly have the same keys, and to see
  /// that takes a fraction of the time of comparing each key with all others of its own record.
  std::size_t mergeEqualKeys(ValueTree* cells, std::size_t size) {
    const ValueTree*& distinct = distinctKeys_[size];
    if (distinct != nullptr && ValueAccess::haveSameShortKeys(distinct, cells, size)) return size;
    const std::size_t left =
        storage::mergeEqualKeys(reinterpret_cast<ValueTree::Member*>(cells), size, nullptr);
    if (left == size) distinct = cells;
    return left;
  }

  char* readKey(char* next) {
    if (*next != '"') return nullptr;
    next = readText(next + 1);
    if (next == nullptr) return nullptr;
    next = skipSpace(next);
    return *next == ':' ? next + 1 : nullptr;
  }

  char* readText(char* next) {
    std::string_view text;
    char* const end = detail::readString(next, text);
    if (end == nullptr) return nullptr;
    if (text.size() <= ValueAccess::kInlineText) {
      cells_.add(ValueAccess::shortText(text.data(), text.size()));
    } else if (text.size() <= ValueAccess::kMostBare) {
      cells_.add(ValueAccess::bare(arena_, text));
    } else {
      void* const memory = arena_.allocate(sizeof(Text));
      if (memory == nullptr) return nullptr;
      cells_.add(ValueAccess::make(Kind::String, new (memory) Text{{&arena_, {1}}, text}));
    }
    return end;
  }

  char* readName(char* next, std::string_view name, ValueTree value) {
    if (std::memcmp(next, name.data(), name.size()) != 0) return nullptr;
    cells_.add(std::move(value));
    return next + name.size();
  }

  Arena& arena_;
  std::size_t depth_ = 0;
  Cells cells_;
  Open open_[kMaxDepth];
  // By the count of members: those of a dictionary that was found to have no equal keys.
  const ValueTree* distinctKeys_[Container::kUnindexed + 1] = {};
};

/// At most so many values and keys are in a text. One that is not the first comes behind a comma, a colon or
/// an opening bracket, and each of these and each value takes a character at least.
std::size_t mostValues(std::string_view text) {
  return std::min(detail::countSeparators(text), text.size() / 2) + 1;
}

struct ReleaseArena {
  void operator()(Arena* arena) const noexcept { arena->release(); }
};

/// Absent for what is no JSON and past the limit.
std::optional<ValueTree> read(std::string_view text, std::uint64_t memoryLimit) {
  if (text.size() > memoryLimit) return std::nullopt;
  const std::size_t count = mostValues(text);
  const std::size_t cellBytes = count * sizeof(ValueTree);
  std::unique_ptr<Arena, ReleaseArena> arena(Arena::create(cellBytes + text.size() + kPadding, memoryLimit));
  if (arena == nullptr) return std::nullopt;
  char* const copy = arena->room() + cellBytes;
  text.copy(copy, text.size());
  std::memset(copy + text.size(), 0, kPadding);

  Reader reader(*arena, Cells(reinterpret_cast<ValueTree*>(arena->room()), count));
  if (reader.read(copy) != copy + text.size()) return std::nullopt;
  std::optional<ValueTree> result(std::in_place);
  reader.takeResult(*result);
  // The result counts the arena if it points there.
  if (ValueAccess::isCounted(*result)) static_cast<void>(arena.release());
  return result;
}

Error reasonAgainst(std::string_view text, std::uint64_t memoryLimit) {
  if (std::optional<Error> fault = detail::faultIn(text)) return *std::move(fault);
  return Error::saying(kErrorDomain, kTooLarge,
                       "too large: takes more than " + std::to_string(memoryLimit) + " bytes of memory");
}

}  // namespace

Result<ValueTree> parse(TextArgument json, std::uint64_t memoryLimit) {
  const std::string_view text = *json;
  if (std::optional<ValueTree> value = read(text, memoryLimit)) return *std::move(value);
  return reasonAgainst(text, memoryLimit);
}

}  // namespace vantrel::json
