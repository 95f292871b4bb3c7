#include "vantrel/data/detail/ValueFault.h"

#include <string_view>
#include <vector>

#include "vantrel/base/Utf8.h"
#include "vantrel/base/ValueStorage.h"

namespace vantrel::data::detail {

namespace {

using storage::ValueAccess;

/// A container of which the values before `next` are looked at.
struct Open {
  const ValueTree* first;
  const ValueTree* next;
  const ValueTree* end;
  bool isDictionary;

  bool atEnd() {
    if (isDictionary) next = ValueAccess::skipHoles(next, end);
    return next == end;
  }
};

bool isUtf8(const ValueTree& text) { return text::isValidUtf8(text.asString().value_or("")); }

void appendStep(std::string& path, std::string_view key) {
  path += '/';
  for (const char character : text::utf8(text::utf16(key))) {
    if (character == '~') {
      path += "~0";
    } else if (character == '/') {
      path += "~1";
    } else {
      path += character;
    }
  }
}

/// To the last value that was looked at.
std::string pathOf(const std::vector<Open>& open) {
  std::string path;
  for (const Open& container : open) {
    if (container.isDictionary) {
      appendStep(path, *container.next[-2].asString());
    } else {
      appendStep(path, std::to_string(container.next - container.first - 1));
    }
  }
  return path;
}

}  // namespace

Error ValueFault::error(const char* domain, std::int64_t code) const {
  Error error = Error::saying(domain, code, path.empty() ? why : path + ": " + why);
  error.info.set("path", path);
  return error;
}

std::optional<ValueFault> firstFault(const ValueTree& tree, const Judge& judge, std::uint64_t most) {
  std::vector<Open> open;
  const ValueTree* value = &tree;
  for (; most != 0; --most) {
    if (const char* const why = judge(*value, open.size())) return ValueFault{pathOf(open), why};
    if (!isUtf8(*value)) return ValueFault{pathOf(open), "text is not valid UTF-8"};
    if (value->size() != 0) {
      const bool isDictionary = value->kind() == ValueTree::Kind::Dictionary;
      const ValueTree* const cells = ValueAccess::cells(*value);
      open.push_back(
          {cells, cells, cells + (isDictionary ? 2 : 1) * ValueAccess::slots(*value), isDictionary});
    }
    while (!open.empty() && open.back().atEnd()) open.pop_back();
    if (open.empty()) return std::nullopt;
    Open& innermost = open.back();
    innermost.next += innermost.isDictionary ? 2 : 1;
    value = innermost.next - 1;
    if (innermost.isDictionary && !isUtf8(value[-1]))
      return ValueFault{pathOf(open), "key is not valid UTF-8"};
  }
  return std::nullopt;
}

}  // namespace vantrel::data::detail
