#include "vantrel/data/PropertyList.h"

#include <vector>

#include "vantrel/data/detail/BinaryPlistReader.h"
#include "vantrel/data/detail/BinaryPlistWriter.h"
#include "vantrel/data/detail/XmlPlistReader.h"

namespace vantrel::plist {
namespace {

using detail::Object;
using detail::ObjectTable;
using detail::ObjectWriter;

class PlainBuilder final : public detail::TreeBuilder {
 public:
  using TreeBuilder::build;
  using TreeBuilder::TreeBuilder;

 private:
  bool make(const Object& object, std::size_t below, Built& place) override {
    switch (object.type) {
      case Object::Type::Leaf:
        place.value = object.leaf;
        return true;
      case Object::Type::Uid:
        place.value = ValueTree::dictionary({{"CF$UID", object.uid}});
        place.levels = 1;
        return true;
      case Object::Type::List:
        return makeList(object, below, place);
      case Object::Type::Dictionary:
        return makeDictionary(object, below, place);
    }
    return false;
  }

  bool makeList(const Object& object, std::size_t below, Built& place) {
    place.value = ValueTree::list();
    place.levels = 1;
    for (std::size_t i = 0; i < object.count; ++i) {
      if (!append(place, table_.item(object, i), below)) return false;
    }
    return true;
  }

  bool makeDictionary(const Object& object, std::size_t below, Built& place) {
    place.value = ValueTree::dictionary();
    place.levels = 1;
    for (std::size_t i = 0; i < object.count; ++i) {
      if (!set(place, table_.key(object, i), table_.value(object, i), below)) return false;
    }
    return true;
  }
};

class PlainWriter {
 public:
  std::optional<Bytes> write(const ValueTree& value) {
    const std::optional<ObjectWriter::Number> top = add(value, 0);
    return top ? objects_.finish(*top) : std::nullopt;
  }

 private:
  std::optional<ObjectWriter::Number> add(const ValueTree& value, std::size_t below) {
    if (!bounds_.admit(value, below)) return std::nullopt;
    if (value.kind() == ValueTree::Kind::List) return addList(value, below);
    if (value.kind() == ValueTree::Kind::Dictionary) return addDictionary(value, below);
    return objects_.addLeaf(value);
  }

  std::optional<ObjectWriter::Number> addList(const ValueTree& list, std::size_t below) {
    std::vector<ObjectWriter::Number> items;
    items.reserve(list.size());
    for (const ValueTree& item : list.items()) {
      const auto number = add(item, below + 1);
      if (!number) return std::nullopt;
      items.push_back(*number);
    }
    return objects_.addList(items);
  }

  std::optional<ObjectWriter::Number> addDictionary(const ValueTree& dictionary, std::size_t below) {
    std::vector<ObjectWriter::Number> keys;
    std::vector<ObjectWriter::Number> values;
    keys.reserve(dictionary.size());
    values.reserve(dictionary.size());
    for (const ValueTree::Member& member : dictionary.members()) {
      const auto key = objects_.addLeaf(member.key());
      const auto number = key ? add(member.value(), below + 1) : std::nullopt;
      if (!number) return std::nullopt;
      keys.push_back(*key);
      values.push_back(*number);
    }
    return objects_.addDictionary(keys, values);
  }

  ObjectWriter objects_;
  detail::WriteBounds bounds_;
};

const char* isNull(const ValueTree& value) {
  return value.kind() == ValueTree::Kind::Null ? "null has no form in a property list" : nullptr;
}

}  // namespace

Result<ValueTree> parse(const Bytes& contents) {
  if (detail::looksLikeXml(contents)) return detail::parseXml(contents);
  Result<ObjectTable> table = ObjectTable::open(contents);
  if (!table) return Result<ValueTree>::failed(table);
  return PlainBuilder(*table).build(table->top());
}

Result<Bytes> write(const ValueTree& value) {
  if (std::optional<Bytes> file = PlainWriter().write(value)) return *std::move(file);
  return detail::reasonAgainstWriting(value, isNull);
}

}  // namespace vantrel::plist
