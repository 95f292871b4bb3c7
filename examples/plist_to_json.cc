// Prints a property list, binary or XML, as JSON; dates and bytes, which JSON has no form for, as texts.
#include <iostream>
#include <sstream>

#include "vantrel/base/io/Files.h"
#include "vantrel/data/Json.h"
#include "vantrel/data/PropertyList.h"

using namespace vantrel;

/// In place, level by level: a property list has at most 512.
void makeWritable(ValueTree& value) {
  if (value.asDate() || value.asData()) {
    std::ostringstream text;
    text << value;
    value = text.str();
  }
  for (std::size_t i = 0; value.kind() == ValueTree::Kind::List && i < value.size(); ++i)
    makeWritable(*value.edit(i));
  const ValueTree before = value;
  for (const auto& [key, member] : before.members()) makeWritable(*value.edit(key));
}

int main(int count, char** arguments) {
  if (count != 2) return 2;
  const auto failed = [&](const Error& error) {
    return std::cerr << arguments[1] << ": " << error.description() << '\n', 1;
  };
  const Result<Bytes> contents = files::read(arguments[1], plist::kMaxContents);
  if (!contents) return failed(contents.error());
  Result<ValueTree> value = plist::parse(*contents);
  if (!value) return failed(value.error());
  makeWritable(*value);
  const Result<std::string> text = json::writePretty(*value);
  if (!text) return failed(text.error());
  std::cout << *text << '\n';
}
