#include <algorithm>
#include <cstring>
#include <memory>

#include "vantrel/platform/data/Json.h"
#include "vantrel/platform/data/JsonCharacters.h"
#include "vantrel/platform/data/JsonNumber.h"
#include "vantrel/platform/data/JsonString.h"
#include "vantrel/platform/detail/ValueStorage.h"

namespace vantrel::json {

namespace {

using platform::detail::Arena;
using platform::detail::Container;
using platform::detail::Text;
using platform::detail::ValueAccess;
using Kind = ValueTree::Kind;

/// The values of containers that are not complete yet. They point into an arena, own nothing, and are copied
/// byte by byte.
class PendingValues {
 public:
  PendingValues() = default;
  PendingValues(const PendingValues&) = delete;
  PendingValues& operator=(const PendingValues&) = delete;

  std::size_t count() const { return static_cast<std::size_t>(next_ - begin_); }

  /// A new null value on top.
  ValueTree& add() {
    if (next_ == end_) grow();
    return *new (next_++) ValueTree;
  }

  void add(ValueTree&& value) {
    if (next_ == end_) grow();
    new (next_++) ValueTree(std::move(value));
  }

  /// Moves the values from a position on to `place`.
  void moveTo(void* place, std::size_t from) {
    std::memcpy(place, static_cast<const void*>(begin_ + from), (count() - from) * sizeof(ValueTree));
    next_ = begin_ + from;
  }

 private:
  static constexpr std::size_t kFirst = 256;

  void grow() {
    const std::size_t before = count();
    std::unique_ptr<char[]> larger(new char[2 * before * sizeof(ValueTree)]);
    std::memcpy(larger.get(), static_cast<const void*>(begin_), before * sizeof(ValueTree));
    begin_ = reinterpret_cast<ValueTree*>(larger.get());
    next_ = begin_ + before;
    end_ = begin_ + 2 * before;
    memory_ = std::move(larger);
  }

  alignas(ValueTree) char first_[kFirst * sizeof(ValueTree)];
  std::unique_ptr<char[]> memory_;
  ValueTree* begin_ = reinterpret_cast<ValueTree*>(first_);
  ValueTree* next_ = begin_;
  ValueTree* end_ = begin_ + kFirst;
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
  explicit Reader(Arena* arena) : arena_(arena) {}

  char* read(char* next) {
    do {
      next = readValue(next);
      if (next != nullptr) next = readAfterValue(next);
    } while (next != nullptr && depth_ != 0);
    return next != nullptr ? skipSpace(next) : nullptr;
  }

  /// The value that was read; points into the arena without being counted.
  void takeResult(ValueTree& result) { values_.moveTo(&result, 0); }

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
            values_.add(ValueAccess::make(isDictionary ? Kind::Dictionary : Kind::List, nullptr));
            return next + 1;
          }
          open_[depth_++] = {values_.count(), isDictionary};
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
          return const_cast<char*>(detail::readNumber(next, values_.add()));
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
      closeContainer();
      ++next;
    }
    return next;
  }

  void closeContainer() {
    const auto [first, isDictionary] = open_[--depth_];
    const std::size_t count = values_.count() - first;
    Container* const container = Container::create(isDictionary, isDictionary ? count / 2 : count, arena_);
    values_.moveTo(container->items(), first);
    container->size = container->capacity;
    if (isDictionary) container->mergeEqualKeys();
    values_.add(ValueAccess::make(isDictionary ? Kind::Dictionary : Kind::List, container));
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
      values_.add(ValueAccess::shortText(text.data(), text.size()));
    } else {
      values_.add(
          ValueAccess::make(Kind::String, new (arena_->allocate(sizeof(Text))) Text{{arena_, {1}}, text}));
    }
    return end;
  }

  char* readName(char* next, std::string_view name, ValueTree value) {
    if (std::memcmp(next, name.data(), name.size()) != 0) return nullptr;
    values_.add(std::move(value));
    return next + name.size();
  }

  Arena* const arena_;
  std::size_t depth_ = 0;
  PendingValues values_;
  Open open_[kMaxDepth];
};

/// What the first chunk holds beside the text: enough for the values of most texts, so that one allocation
/// does, but of large texts no more than a further chunk has.
std::size_t roomForValues(std::size_t textSize) {
  constexpr std::size_t kMost = std::size_t{1} << 20;
  return std::min(textSize, kMost / 3) * 3;
}

}  // namespace

std::optional<ValueTree> parse(std::string_view text) {
  Arena* const arena = Arena::create(text.size() + kPadding + roomForValues(text.size()));
  char* const copy = static_cast<char*>(arena->allocate(text.size() + kPadding));
  text.copy(copy, text.size());
  std::memset(copy + text.size(), 0, kPadding);

  Reader reader(arena);
  if (reader.read(copy) != copy + text.size()) {
    arena->release();
    return std::nullopt;
  }
  std::optional<ValueTree> result(std::in_place);
  reader.takeResult(*result);
  if (!ValueAccess::isShared(*result)) arena->release();
  return result;
}

}  // namespace vantrel::json
