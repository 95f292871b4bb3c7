#include "vantrel/data/KeyedArchive.h"

#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "vantrel/base/Utf8.h"
#include "vantrel/data/detail/BinaryPlistReader.h"
#include "vantrel/data/detail/BinaryPlistWriter.h"

namespace vantrel::keyedarchive {
namespace {

using plist::detail::kSecondsFrom1970To2001;
using plist::detail::Object;
using plist::detail::ObjectTable;
using plist::detail::ObjectWriter;

constexpr std::string_view kNull = "$null";
constexpr std::string_view kArchiver = "NSKeyedArchiver";
constexpr std::int64_t kVersion = 100000;

/// Follows the UIDs of an archive; what they lead to is built once each.
class ArchiveReader final : public plist::detail::TreeBuilder {
 public:
  using TreeBuilder::TreeBuilder;

  Result<ValueTree> valueUnder(std::string_view key) {
    const std::optional<Object> root = read(table_.top(), Object::Type::Dictionary);
    if (!root || !isOurs(*root)) return malformed("a property list, but no keyed archive");
    objects_ = read(entry(*root, "$objects"), Object::Type::List);
    const std::optional<Object> top = read(entry(*root, "$top"), Object::Type::Dictionary);
    if (!objects_ || !top) return malformed("an archive without objects or without its top");
    const std::optional<std::uint64_t> number = entryOfAnyKey(*top, key);
    if (!number) return malformed("nothing stands under the key");
    const std::optional<Object> value = table_.read(*number);
    if (!value) return malformed("what stands under the key is damaged");
    // Numbers and booleans that were encoded as such stand here themselves.
    if (value->type == Object::Type::Leaf) return value->leaf;
    return build(follow(*number));
  }

 private:
  static constexpr std::uint64_t kNowhere = ~std::uint64_t{0};

  static Error malformed(const char* why) {
    return Error::saying(plist::kErrorDomain, plist::kMalformed, why);
  }

  std::optional<Object> read(std::uint64_t number, Object::Type type) {
    std::optional<Object> object = table_.read(number);
    return object && object->type == type ? object : std::nullopt;
  }

  // The number of what stands under a key of the archive's own.
  std::uint64_t entry(const Object& dictionary, std::string_view key) const {
    for (std::size_t i = 0; i < dictionary.count; ++i) {
      if (table_.ascii(table_.key(dictionary, i)) == key) return table_.value(dictionary, i);
    }
    return kNowhere;
  }

  std::optional<std::uint64_t> entryOfAnyKey(const Object& dictionary, std::string_view key) {
    for (std::size_t i = 0; i < dictionary.count; ++i) {
      const std::optional<Object> name = table_.read(table_.key(dictionary, i));
      if (name && name->leaf == ValueTree(key)) return table_.value(dictionary, i);
    }
    return std::nullopt;
  }

  bool isOurs(const Object& root) {
    const std::optional<Object> version = table_.read(entry(root, "$version"));
    return version && version->leaf.asInteger() == kVersion &&
           table_.ascii(entry(root, "$archiver")) == kArchiver;
  }

  // The number of the archived object that a UID, itself the object of this number, names.
  std::uint64_t follow(std::uint64_t number) const {
    const std::optional<std::uint64_t> uid = table_.uid(number);
    if (!uid || *uid >= objects_->count) return kNowhere;
    return table_.item(*objects_, static_cast<std::size_t>(*uid));
  }

  bool make(const Object& object, std::size_t below, Built& place) override {
    if (object.type == Object::Type::Leaf) {
      if (object.leaf.asString() != kNull) place.value = object.leaf;
      return true;
    }
    if (object.type != Object::Type::Dictionary || leafOnly_) return false;
    return makeInstance(className(follow(entry(object, "$class"))), object, below, place);
  }

  std::string_view className(std::uint64_t number) {
    const auto [known, isNew] = classes_.try_emplace(number);
    if (isNew) {
      const std::optional<Object> type = read(number, Object::Type::Dictionary);
      if (type) known->second = table_.ascii(entry(*type, "$classname"));
    }
    return known->second;
  }

  bool makeInstance(std::string_view name, const Object& object, std::size_t below, Built& place) {
    if (name == "NSDictionary" || name == "NSMutableDictionary") return makeDictionary(object, below, place);
    if (name == "NSArray" || name == "NSMutableArray" || name == "NSSet" || name == "NSMutableSet") {
      return makeList(object, below, place);
    }
    if (name == "NSString" || name == "NSMutableString") return makeString(object, below, place);
    if (name == "NSData" || name == "NSMutableData") {
      return makeLeaf(object, "NS.data", ValueTree::Kind::Data, below, place);
    }
    if (name == "NSDate") return makeDate(object, place);
    return name == "NSNull" || refuse("no value stands for the class \"" + std::string(name) + "\"");
  }

  bool makeList(const Object& object, std::size_t below, Built& place) {
    const std::optional<Object> items = read(entry(object, "NS.objects"), Object::Type::List);
    if (!items) return false;
    place.value = ValueTree::list();
    place.levels = 1;
    for (std::size_t i = 0; i < items->count; ++i) {
      if (!append(place, follow(table_.item(*items, i)), below)) return false;
    }
    return true;
  }

  bool makeDictionary(const Object& object, std::size_t below, Built& place) {
    const std::optional<Object> keys = read(entry(object, "NS.keys"), Object::Type::List);
    const std::optional<Object> values = read(entry(object, "NS.objects"), Object::Type::List);
    if (!keys || !values || keys->count != values->count) return false;
    place.value = ValueTree::dictionary();
    place.levels = 1;
    for (std::size_t i = 0; i < keys->count; ++i) {
      if (!set(place, follow(table_.item(*keys, i)), follow(table_.item(*values, i)), below)) return false;
    }
    return true;
  }

  bool makeString(const Object& object, std::size_t below, Built& place) {
    if (makeLeaf(object, "NS.string", ValueTree::Kind::String, below, place)) return true;
    if (!makeLeaf(object, "NS.bytes", ValueTree::Kind::Data, below, place)) return false;
    const std::optional<Bytes> bytes = place.value.asData();
    if (!text::isValidUtf8(bytes->text())) return false;
    place.value = ValueTree(bytes->text());
    return true;
  }

  bool makeDate(const Object& object, Built& place) {
    const std::optional<Object> time = table_.read(entry(object, "NS.time"));
    const std::optional<double> seconds = time ? time->leaf.asDouble() : std::nullopt;
    if (seconds) place.value = Date{*seconds + kSecondsFrom1970To2001};
    return seconds.has_value();
  }

  // What an object keeps in an entry of its own, or where a UID in that entry leads.
  bool makeLeaf(const Object& object, std::string_view key, ValueTree::Kind kind, std::size_t below,
                Built& place) {
    std::uint64_t number = entry(object, key);
    if (number == kNowhere) return false;
    if (table_.uid(number)) number = follow(number);
    leafOnly_ = true;  // an instance here could lead on to another, and so on past the stack's end
    const Built* leaf = build(number, below);
    leafOnly_ = false;
    if (!leaf) return false;
    place.value = leaf->value;
    // As the text of a string, "$null" is a text like any other.
    if (kind == ValueTree::Kind::String && table_.ascii(number) == kNull) place.value = kNull;
    return place.value.kind() == kind;
  }

  std::optional<Object> objects_;
  bool leafOnly_ = false;
  std::unordered_map<std::uint64_t, std::string_view> classes_;  // names by the number of the class object
};

/// Lays the objects of an archive out; equal leaves are archived once.
class ArchiveWriter {
 public:
  std::optional<Bytes> write(const ValueTree& value, std::string_view key) {
    const auto null = writer_.addLeaf(kNull);
    archived_.push_back(*null);
    const std::optional<Uid> uid = value.kind() == ValueTree::Kind::Null ? Uid{0} : add(value, 0);
    const auto name = writer_.addLeaf(key);
    if (!uid || !name) return std::nullopt;
    const Number top = writer_.addDictionary({*name}, {writer_.addUid(*uid)});
    return writer_.finish(addFields({{"$version", leaf(kVersion)},
                                     {"$archiver", leaf(kArchiver)},
                                     {"$objects", writer_.addList(archived_)},
                                     {"$top", top}}));
  }

 private:
  using Number = ObjectWriter::Number;
  using Uid = std::uint32_t;

  // For the archive's own words and numbers, which can always be added.
  Number leaf(const ValueTree& value) { return *writer_.addLeaf(value); }

  Number addFields(std::initializer_list<std::pair<std::string_view, Number>> fields) {
    std::vector<Number> keys;
    std::vector<Number> values;
    for (const auto& [key, value] : fields) {
      keys.push_back(leaf(key));
      values.push_back(value);
    }
    return writer_.addDictionary(keys, values);
  }

  Uid addObject(Number number) {
    archived_.push_back(number);
    return static_cast<Uid>(archived_.size() - 1);
  }

  Number classOf(const std::string& name) {
    const auto [known, isNew] = classes_.try_emplace(name, 0);
    if (isNew) {
      const Number names = writer_.addList({leaf(name), leaf("NSObject")});
      known->second = addObject(addFields({{"$classname", leaf(name)}, {"$classes", names}}));
    }
    return writer_.addUid(known->second);
  }

  std::optional<Uid> add(const ValueTree& value, std::size_t below) {
    if (!bounds_.admit(value, below)) return std::nullopt;
    switch (value.kind()) {
      case ValueTree::Kind::Null:
        return addObject(addFields({{"$class", classOf("NSNull")}}));
      case ValueTree::Kind::Date:
        return addDate(*value.asDate());
      case ValueTree::Kind::Data:
        return addData(value);
      case ValueTree::Kind::List:
        return addList(value, below);
      case ValueTree::Kind::Dictionary:
        return addDictionary(value, below);
      default:
        return addLeaf(value);
    }
  }

  std::optional<Uid> addLeaf(const ValueTree& value) {
    const std::optional<Number> number = writer_.addLeaf(value);
    if (!number) return std::nullopt;
    const auto [known, isNew] = leaves_.try_emplace(*number, 0);
    if (!isNew) return known->second;
    // The plain string "$null" would be read as no object.
    const Number object = value.asString() != kNull
                              ? *number
                              : addFields({{"$class", classOf("NSString")}, {"NS.string", *number}});
    return known->second = addObject(object);
  }

  Uid addDate(Date date) {
    const Number time = leaf(date.secondsSince1970 - kSecondsFrom1970To2001);
    return addObject(addFields({{"$class", classOf("NSDate")}, {"NS.time", time}}));
  }

  std::optional<Uid> addData(const ValueTree& data) {
    const std::optional<Number> number = writer_.addLeaf(data);
    if (!number) return std::nullopt;
    return addObject(addFields({{"$class", classOf("NSData")}, {"NS.data", *number}}));
  }

  std::optional<Uid> addList(const ValueTree& list, std::size_t below) {
    std::vector<Number> items;
    items.reserve(list.size());
    for (const ValueTree& item : list.items()) {
      const std::optional<Uid> uid = add(item, below + 1);
      if (!uid) return std::nullopt;
      items.push_back(writer_.addUid(*uid));
    }
    const Number objects = writer_.addList(items);
    return addObject(addFields({{"$class", classOf("NSArray")}, {"NS.objects", objects}}));
  }

  std::optional<Uid> addDictionary(const ValueTree& dictionary, std::size_t below) {
    std::vector<Number> keys;
    std::vector<Number> values;
    keys.reserve(dictionary.size());
    values.reserve(dictionary.size());
    for (const ValueTree::Member& member : dictionary.members()) {
      const std::optional<Uid> key = addLeaf(member.key());
      const std::optional<Uid> value = key ? add(member.value(), below + 1) : std::nullopt;
      if (!value) return std::nullopt;
      keys.push_back(writer_.addUid(*key));
      values.push_back(writer_.addUid(*value));
    }
    const Number names = writer_.addList(keys);
    const Number objects = writer_.addList(values);
    return addObject(
        addFields({{"$class", classOf("NSDictionary")}, {"NS.keys", names}, {"NS.objects", objects}}));
  }

  ObjectWriter writer_;
  plist::detail::WriteBounds bounds_;
  std::vector<Number> archived_;  // by UID
  std::unordered_map<Number, Uid> leaves_;
  std::unordered_map<std::string, Uid> classes_;
};

}  // namespace

Result<Bytes> archive(const ValueTree& value, TextArgument key) {
  if (std::optional<Bytes> file = ArchiveWriter().write(value, *key)) return *std::move(file);
  if (!text::isValidUtf8(key)) {
    return Error::saying(plist::kErrorDomain, plist::kNotWritable, "the archive's key is not valid UTF-8");
  }
  return plist::detail::reasonAgainstWriting(value, [](const ValueTree&) -> const char* { return nullptr; });
}

Result<ValueTree> unarchive(const Bytes& contents, TextArgument key) {
  Result<ObjectTable> table = ObjectTable::open(contents);
  if (!table) return Result<ValueTree>::failed(table);
  return ArchiveReader(*table).valueUnder(*key);
}

}  // namespace vantrel::keyedarchive
