#include "vantrel/data/KeyedArchive.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "vantrel/data/Json.h"
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
    const auto read = keyedarchive::unarchive(*keyedarchive::archive(value, kKey), kKey);
    ASSERT_EQ(read, value);
    EXPECT_EQ(read->kind(), value.kind());
  }
  const std::string text(1000, 'x');
  EXPECT_LT(keyedarchive::archive(ValueTree::list({text, text, text}), kKey)->size(), 1500u) << "once";
}

TEST(KeyedArchive, RefusesWhatAnArchiveCannotHold) {
  EXPECT_FALSE(keyedarchive::archive("\xff", kKey));
  EXPECT_FALSE(keyedarchive::archive(1, "\xff"));
  ValueTree deep = ValueTree::list({Date{1}, Bytes::copyOf("data"), "$null", nullptr});
  for (int level = 1; level < 512; ++level) deep = ValueTree::list({deep});
  EXPECT_EQ(keyedarchive::unarchive(*keyedarchive::archive(deep, kKey), kKey), deep);
  EXPECT_FALSE(keyedarchive::archive(ValueTree::list({deep}), kKey));
}

/// Stands for a UID until the file is written.
ValueTree uid(std::size_t number) { return std::string(1, static_cast<char>(number)); }

/// The fields of an instance from JSON, where "\u0003" is the UID 3.
ValueTree fields(std::string_view text) { return *json::parse(text); }

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
    ValueTree instance;
    ValueTree value;
  } cases[] = {
      {"NSMutableString", ValueTree::dictionary({{"NS.bytes", data}}), "teüt"},
      {"NSString", fields(R"({"NS.string":"$null"})"), "$null"},
      {"NSMutableData", ValueTree::dictionary({{"NS.data", data}}), data},
      {"NSSet", fields(R"({"NS.objects":[]})"), ValueTree::list()},
      {"NSMutableArray", fields(R"({"NS.objects":[]})"), ValueTree::list()},
      {"NSMutableDictionary", fields(R"({"NS.keys":[],"NS.objects":[]})"), ValueTree::dictionary()},
      {"NSMutableSet", fields(R"({"NS.objects":["\u0000"]})"), ValueTree::list({nullptr})},
  };
  for (const auto& [name, instance, value] : cases)
    EXPECT_EQ(keyedarchive::unarchive(archiveOf({{name, instance}}), kKey), value) << name;
}

TEST(KeyedArchive, RefusesWhatIsNoArchiveOfTheKind) {
  const ValueTree empty = fields(R"({"NS.objects":[]})");
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
  const ValueTree none = ValueTree::dictionary();
  const std::pair<const char*, Instances> cases[] = {
      {"no such class", {{"NSURL", fields(R"({"NS.objects":[]})")}}},
      {"no items", {{"NSArray", none}}},
      {"no time", {{"NSDate", fields(R"({"NS.time":[]})")}}},
      {"no text", {{"NSString", fields(R"({"NS.string":[]})")}}},
      {"bytes that are none", {{"NSString", ValueTree::dictionary({{"NS.bytes", Bytes::copyOf("\xff")}})}}},
      {"more keys than values",
       {{"NSDictionary", fields(R"({"NS.keys":["\u0003"],"NS.objects":[]})")}, {"NSNull", none}}},
      {"a key that is no text",
       {{"NSDictionary", fields(R"({"NS.keys":["\u0003"],"NS.objects":["\u0003"]})")}, {"NSNull", none}}},
      {"the first object that is not there", {{"NSArray", fields(R"({"NS.objects":["\u0003"]})")}}},
      {"a text that is an instance",
       {{"NSString", fields(R"({"NS.string":"\u0003"})")}, {"NSString", fields(R"({"NS.string":"text"})")}}},
      {"itself", {{"NSArray", fields(R"({"NS.objects":["\u0001"]})")}}},
      {"a circle",
       {{"NSArray", fields(R"({"NS.objects":["\u0003"]})")},
        {"NSArray", fields(R"({"NS.objects":["\u0001"]})")}}},
  };
  for (const auto& [title, instances] : cases) {
    EXPECT_FALSE(keyedarchive::unarchive(archiveOf(instances), kKey)) << title;
  }
  // Each of six lists holds the next fourteen times: 14^6 values.
  Instances wide;
  for (std::size_t next = 3; next <= 13; next += 2) {
    ValueTree list = ValueTree::list();
    for (int i = 0; i < 14; ++i) list.append(uid(next));
    wide.emplace_back("NSArray", ValueTree::dictionary({{"NS.objects", list}}));
  }
  wide.emplace_back("NSNull", none);
  EXPECT_FALSE(keyedarchive::unarchive(archiveOf(wide), kKey));
}

}  // namespace
}  // namespace vantrel
