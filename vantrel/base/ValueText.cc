#include <array>
#include <charconv>
#include <cmath>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "vantrel/base/ValueTree.h"

namespace vantrel {

namespace {

using Kind = ValueTree::Kind;

/// A container of which what stands before the iterators is written.
struct Open {
  const ValueTree* value;
  std::span<const ValueTree>::iterator item;
  ValueTree::Members::Iterator member;
};

void writeQuoted(std::ostream& out, std::string_view text) {
  constexpr std::string_view kNamed = "\"\\\b\f\n\r\t";
  constexpr std::string_view kNames = "\"\\bfnrt";
  constexpr std::string_view kDigits = "0123456789abcdef";
  out << '"';
  for (const char character : text) {
    const auto code = static_cast<unsigned char>(character);
    if (const std::size_t named = kNamed.find(character); named != std::string_view::npos) {
      out << '\\' << kNames[named];
    } else if (code < 0x20) {
      out << "\\u00" << kDigits[code >> 4] << kDigits[code & 0xf];
    } else {
      out << character;
    }
  }
  out << '"';
}

/// The fewest digits that stand for this double, whatever the stream is set to.
std::string shortest(double number) {
  std::array<char, 32> text;
  char* const end = std::to_chars(text.data(), text.data() + text.size(), number).ptr;
  return {text.data(), end};
}

void writeDouble(std::ostream& out, double number) {
  const std::string text = shortest(number);
  out << text;
  if (std::isfinite(number) && text.find_first_of(".e") == std::string::npos) out << ".0";
}

void writeInteger(std::ostream& out, const ValueTree& value) {
  const auto integer = value.asInteger();
  out << (integer ? std::to_string(*integer) : std::to_string(*value.asUnsigned()));
}

/// Anything; of a container only how it opens.
void writeStart(std::ostream& out, const ValueTree& value) {
  switch (value.kind()) {
    case Kind::Null:
      out << "null";
      return;
    case Kind::Boolean:
      out << (*value.asBoolean() ? "true" : "false");
      return;
    case Kind::Integer:
      return writeInteger(out, value);
    case Kind::Floating:
      return writeDouble(out, *value.asDouble());
    case Kind::String:
      return writeQuoted(out, *value.asString());
    case Kind::Date:
      out << "date(" << shortest(value.asDate()->secondsSince1970) << ')';
      return;
    case Kind::Data:
      out << "data(" << std::to_string(value.asData()->size()) << " bytes)";
      return;
    case Kind::List:
      out << '[';
      return;
    case Kind::Dictionary:
      out << '{';
      return;
  }
}

bool isContainer(const ValueTree& value) {
  return value.kind() == Kind::List || value.kind() == Kind::Dictionary;
}

/// Writes what leads to the next value in the container, and gives that; null at its end.
const ValueTree* next(std::ostream& out, Open& open) {
  if (open.value->kind() == Kind::List) {
    if (open.item == open.value->items().end()) return nullptr;
    if (open.item != open.value->items().begin()) out << ',';
    return &*open.item++;
  }
  const ValueTree::Members members = open.value->members();
  if (open.member == members.end()) return nullptr;
  if (open.member != members.begin()) out << ',';
  const auto& [key, value] = *open.member++;
  writeQuoted(out, key);
  out << ':';
  return &value;
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const ValueTree& value) {
  std::vector<Open> open;
  const ValueTree* now = &value;
  while (true) {
    if (now != nullptr) {
      writeStart(out, *now);
      if (isContainer(*now)) open.push_back({now, now->items().begin(), now->members().begin()});
    } else {
      out << (open.back().value->kind() == Kind::List ? ']' : '}');
      open.pop_back();
    }
    if (open.empty()) return out;
    now = next(out, open.back());
  }
}

}  // namespace vantrel
