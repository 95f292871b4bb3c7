#include "vantrel/data/KeyedArchive.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "vantrel/data/PropertyList.h"

namespace vantrel {
namespace {

constexpr std::string_view kKey = "Some Key Value";

TEST(KeyedArchive, KeepsEveryKindOverArchivingAndBack) {
  const ValueTree values[] = {
      ValueTree::dictionary(),
      ValueTree::dictionary({{"a", ValueTree::list({1, 1, 1.0, "1", "1", true, nullptr, "$null", ""})},
                             {"$class", "no class"},
                             {"NS.objects", ValueTree::list({ValueTree::list(), ValueTree::dictionary()})},
                             {"Größe", Bytes::copyOf("data")},
                             {"", Date{978307200.5}}}),
      ValueTree::list({std::numeric_limits<std::uint64_t>::max(), std::numeric_limits<std::int64_t>::min()}),
      "text",
      "$null",
      -7,
      2.5,
      false,
      nullptr,
  };
  for (const ValueTree& value : values) {
    const auto archived = keyedarchive::archive(value, kKey);
    ASSERT_TRUE(archived);
    const auto read = keyedarchive::unarchive(*archived, kKey);
    ASSERT_TRUE(read);
    EXPECT_EQ(*read, value);
    EXPECT_EQ(read->kind(), value.kind());
  }
}

TEST(KeyedArchive, HasThePlatformsLayout) {
  const auto archived = keyedarchive::archive(ValueTree::dictionary({{"k", ValueTree::list({"k"})}}), kKey);
  ASSERT_TRUE(archived);
  const auto layout = plist::parse(*archived);
  ASSERT_TRUE(layout);
  EXPECT_EQ((*layout)["$version"], ValueTree(100000));
  EXPECT_EQ((*layout)["$archiver"], ValueTree("NSKeyedArchiver"));
  const ValueTree& objects = (*layout)["$objects"];
  EXPECT_EQ(objects[0], ValueTree("$null"));
  const auto at = [&](const ValueTree& reference) -> const ValueTree& {
    return objects[static_cast<std::size_t>(reference["CF$UID"].asUnsigned().value())];
  };
  const ValueTree& dictionary = at((*layout)["$top"][kKey]);
  EXPECT_EQ(at(dictionary["$class"])["$classname"], ValueTree("NSDictionary"));
  EXPECT_EQ(at(dictionary["$class"])["$classes"], ValueTree::list({"NSDictionary", "NSObject"}));
  EXPECT_EQ(at(dictionary["NS.keys"][0]), ValueTree("k"));
  const ValueTree& list = at(dictionary["NS.objects"][0]);
  EXPECT_EQ(at(list["$class"])["$classname"], ValueTree("NSArray"));
  EXPECT_EQ(list["NS.objects"][0], dictionary["NS.keys"][0]) << "equal strings are archived once";
}

TEST(KeyedArchive, RefusesWhatAnArchiveCannotHold) {
  EXPECT_FALSE(keyedarchive::archive("\xff", kKey));
  EXPECT_FALSE(keyedarchive::archive(1, "\xff"));
  ValueTree deep = ValueTree::list({Date{1}, Bytes::copyOf("data"), "$null", nullptr});
  for (int level = 1; level < 512; ++level) deep = ValueTree::list({deep});
  const auto deepest = keyedarchive::archive(deep, kKey);
  ASSERT_TRUE(deepest);
  EXPECT_EQ(keyedarchive::unarchive(*deepest, kKey), deep);
  EXPECT_FALSE(keyedarchive::archive(ValueTree::list({deep}), kKey));
}

/// Stands for a UID until the file is written.
ValueTree uid(std::size_t number) { return std::string(1, static_cast<char>(number)); }

ValueTree uids(std::initializer_list<std::size_t> numbers) {
  ValueTree list = ValueTree::list();
  for (const std::size_t number : numbers) list.append(uid(number));
  return list;
}

using Instances = std::vector<std::pair<const char*, ValueTree>>;

/// An archive of instances, sound or not, by class and fields; they have the UIDs 1, 3, 5, and so on, each
/// before its class, and the first is under the key.
Bytes archiveOf(const Instances& instances, const char* archiver = "NSKeyedArchiver", int version = 100000) {
  ValueTree objects = ValueTree::list({"$null"});
  for (auto [name, object] : instances) {
    object.set("$class", uid(objects.size() + 1));
    objects.append(object);
    objects.append(ValueTree::dictionary({{"$classname", name}}));
  }
  std::string file(plist::write(ValueTree::dictionary({{"$version", version},
                                                       {"$archiver", archiver},
                                                       {"$objects", objects},
                                                       {"$top", ValueTree::dictionary({{kKey, uid(1)}})}}))
                       ->text());
  // A text of one character and a UID differ in the first of their two bytes; the last two bytes tell where
  // the objects end.
  const auto end =
      static_cast<unsigned char>(file.back()) + 256u * static_cast<unsigned char>(file[file.size() - 2]);
  for (std::size_t i = 8; i + 1 < end; ++i) {
    if (file[i] == '\x51' && static_cast<unsigned char>(file[i + 1]) < ' ') file[i] = '\x80';
  }
  return Bytes::copyOf(file);
}

TEST(KeyedArchive, ReadsWhatOthersArchive) {
  const Bytes data = Bytes::copyOf("te\xc3\xbct");
  const struct {
    const char* name;
    ValueTree fields;
    ValueTree value;
  } cases[] = {
      {"NSMutableString", ValueTree::dictionary({{"NS.bytes", data}}), "teüt"},
      {"NSString", ValueTree::dictionary({{"NS.string", "$null"}}), "$null"},
      {"NSMutableData", ValueTree::dictionary({{"NS.data", data}}), data},
      {"NSSet", ValueTree::dictionary({{"NS.objects", ValueTree::list()}}), ValueTree::list()},
      {"NSMutableSet", ValueTree::dictionary({{"NS.objects", uids({0})}}), ValueTree::list({nullptr})},
  };
  for (const auto& [name, fields, value] : cases) {
    EXPECT_EQ(keyedarchive::unarchive(archiveOf({{name, fields}}), kKey), value) << name;
  }
}

TEST(KeyedArchive, RefusesWhatIsNoArchiveOfTheKind) {
  const ValueTree empty = ValueTree::dictionary({{"NS.objects", ValueTree::list()}});
  const Bytes sound = archiveOf({{"NSArray", empty}});
  EXPECT_EQ(keyedarchive::unarchive(sound, kKey), ValueTree::list());
  EXPECT_EQ(keyedarchive::unarchive(sound, "Some Key").error().description(), "nothing stands under the key");
  for (const Bytes& other : {archiveOf({{"NSArray", empty}}, "NRKeyedArchiver"),
                             archiveOf({{"NSArray", empty}}, "NSKeyedArchiver", 1), Bytes(),
                             Bytes::copyOf("{}"), *plist::write(ValueTree::dictionary({{kKey, 1}}))}) {
    EXPECT_FALSE(keyedarchive::unarchive(other, kKey));
  }
}

TEST(KeyedArchive, RefusesUnknownClassesBrokenInstancesCirclesAndExpansion) {
  const auto lists = [](const ValueTree& keys, const ValueTree& objects) {
    return ValueTree::dictionary({{"NS.keys", keys}, {"NS.objects", objects}});
  };
  const auto items = [](const ValueTree& objects) {
    return ValueTree::dictionary({{"NS.objects", objects}});
  };
  const ValueTree none = ValueTree::dictionary();
  const std::pair<const char*, Instances> cases[] = {
      {"no such class", {{"NSURL", items(ValueTree::list())}}},
      {"no items", {{"NSArray", none}}},
      {"no time", {{"NSDate", ValueTree::dictionary({{"NS.time", ValueTree::list()}})}}},
      {"no text", {{"NSString", ValueTree::dictionary({{"NS.string", ValueTree::list()}})}}},
      {"bytes that are none", {{"NSString", ValueTree::dictionary({{"NS.bytes", Bytes::copyOf("\xff")}})}}},
      {"more keys than values", {{"NSDictionary", lists(uids({3}), uids({}))}, {"NSNull", none}}},
      {"a key that is no text", {{"NSDictionary", lists(uids({3}), uids({3}))}, {"NSNull", none}}},
      {"the first object that is not there", {{"NSArray", items(uids({3}))}}},
      {"a text that is an instance",
       {{"NSString", ValueTree::dictionary({{"NS.string", uid(3)}})},
        {"NSString", ValueTree::dictionary({{"NS.string", "text"}})}}},
      {"itself", {{"NSArray", items(uids({1}))}}},
      {"a circle", {{"NSArray", items(uids({3}))}, {"NSArray", items(uids({1}))}}},
  };
  for (const auto& [title, instances] : cases) {
    EXPECT_FALSE(keyedarchive::unarchive(archiveOf(instances), kKey)) << title;
  }
  // Each of six lists holds the next fourteen times: 14^6 values.
  Instances wide;
  for (std::size_t next = 3; next <= 13; next += 2) {
    wide.emplace_back(
        "NSArray",
        items(uids({next, next, next, next, next, next, next, next, next, next, next, next, next, next})));
  }
  wide.emplace_back("NSNull", none);
  EXPECT_FALSE(keyedarchive::unarchive(archiveOf(wide), kKey));
}

}  // namespace
}  // namespace vantrel
