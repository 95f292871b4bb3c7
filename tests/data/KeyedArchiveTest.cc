#include "vantrel/data/KeyedArchive.h"

#include <gtest/gtest.h>

#include <limits>

#include "tests/data/PlistFiles.h"
#include "vantrel/data/PropertyList.h"

namespace vantrel {
namespace {

using test::bytesOfHex;
using test::PlistFile;

constexpr std::string_view kKey = "Some Key Value";

ValueTree uid(int number) { return ValueTree::dictionary({{"CF$UID", number}}); }

// Made with Python's plistlib in the layout of a mutable dictionary with a mutable list and string in it:
// {"name": "x", "list": [7, "mutable"]}.
constexpr std::string_view kMutable =
    "62706c6973743030d4010203040506070a582476657273696f6e592461726368697665725424746f7058246f626a6563747312"
    "000186a05f100f4e534b657965644172636869766572d108095e536f6d65204b65792056616c75658001ab0b0c1718191a1f20"
    "242b2f55246e756c6cd30d0e0f1011145624636c617373574e532e6b6579735a4e532e6f626a656374738008a2121380028003"
    "a2151680048005546e616d65546c6973745178d20d0f1b1c8009a21d1e800680071007d20d212223594e532e737472696e6780"
    "0a576d757461626c65d2252627285a24636c6173736e616d655824636c61737365735f10134e534d757461626c654469637469"
    "6f6e617279a327292a5c4e5344696374696f6e617279584e534f626a656374d225262c2d5e4e534d757461626c654172726179"
    "a32c2e2a574e534172726179d2252630315f100f4e534d757461626c65537472696e67a330322a584e53537472696e67000800"
    "11001a00240029003200370049004c005b005d0069006f0076007d008500900092009500970099009c009e00a000a500aa00ac"
    "00b100b300b600b800ba00bc00c100cb00cd00d500da00e500ee010401080115011e012301320136013e014301550159000000"
    "0000000201000000000000003300000000000000000000000000000162";

TEST(KeyedArchive, ReadsAnArchiveMadeElsewhere) {
  EXPECT_EQ(keyedarchive::unarchive(bytesOfHex(kMutable), kKey),
            ValueTree::dictionary({{"name", "x"}, {"list", ValueTree::list({7, "mutable"})}}));
}

TEST(KeyedArchive, IsAbsentUnderAnotherKey) {
  const auto value = keyedarchive::unarchive(bytesOfHex(kMutable), "Some Key");
  ASSERT_FALSE(value);
  EXPECT_EQ(value.error().description(), "nothing stands under the key");
}

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

/// An archive of hand-made objects, the first of them under the key; the references of each object are UIDs
/// that stand for themselves in the value given.
class ArchiveFile {
 public:
  /// An object of archived class `name` whose entries are lists of UIDs.
  using Lists = std::vector<std::pair<std::string, std::vector<std::uint32_t>>>;

  ArchiveFile& add(const std::string& name, const Lists& lists) {
    instances_.push_back({name, lists});
    return *this;
  }

  Bytes finish(std::string_view archiver = "NSKeyedArchiver", int version = 1) const {
    // 0: root, 1 to 8: its keys and values, then "$class", "$classname"; UIDs; and the instances.
    std::vector<std::string> later;
    const auto base = std::uint32_t{11};
    const auto keep = [&](std::string bytes) {
      later.push_back(std::move(bytes));
      return base + static_cast<std::uint32_t>(later.size()) - 1;
    };
    const auto refer = [](char marker, const std::vector<std::uint32_t>& numbers) {
      std::string bytes(1, static_cast<char>(marker | static_cast<char>(numbers.size())));
      for (const std::uint32_t n : numbers)
        bytes += {'\0', '\0', static_cast<char>(n >> 8), static_cast<char>(n)};
      return bytes;
    };
    const auto text = [](std::string_view words) {
      return std::string({'\x5F', '\x10', static_cast<char>(words.size())}) + std::string(words);
    };
    const auto uidOf = [&](std::uint32_t n) { return keep({'\x80', static_cast<char>(n)}); };

    const auto count = static_cast<std::uint32_t>(instances_.size());
    std::vector<std::uint32_t> objects;
    std::vector<std::uint32_t> classes;
    for (std::uint32_t i = 0; i < count; ++i) {
      const Instance& instance = instances_[i];
      std::vector<std::uint32_t> keys{9};
      std::vector<std::uint32_t> values{uidOf(count + i)};
      for (const auto& [key, uids] : instance.lists) {
        std::vector<std::uint32_t> items;
        for (const std::uint32_t n : uids) items.push_back(uidOf(n));
        keys.push_back(keep(text(key)));
        values.push_back(keep(refer('\xA0', items)));
      }
      std::string entries = refer('\xD0', keys) + refer('\xA0', values).substr(1);
      objects.push_back(keep(entries));
      const std::uint32_t name = keep(text(instance.name));
      classes.push_back(keep(refer('\xD0', {10}) + refer('\xA0', {name}).substr(1)));
    }
    objects.insert(objects.end(), classes.begin(), classes.end());
    const std::uint32_t key = keep(text(kKey));
    const std::uint32_t top = keep(refer('\xD0', {key}) + refer('\xA0', {uidOf(0)}).substr(1));

    PlistFile file;
    file.addReferences({1, 2, 3, 4, 5, 6, 7, top}, 0xD0, 4);
    for (const char* word : {"$version", "$archiver", "$objects", "$top"}) file.add(text(word));
    file.add(version == 1 ? std::string("\x12\x00\x01\x86\xA0", 5) : std::string("\x10\x01", 2));
    file.add(text(archiver));
    file.addReferences(objects).add("\x09").add(text("$class")).add(text("$classname"));
    for (const std::string& bytes : later) file.add(bytes);
    return file.finish();
  }

 private:
  struct Instance {
    std::string name;
    Lists lists;
  };
  std::vector<Instance> instances_;
};

TEST(KeyedArchive, RefusesWhatIsNoArchiveOfTheKind) {
  const ArchiveFile sound = ArchiveFile().add("NSSet", {{"NS.objects", {}}});
  EXPECT_EQ(keyedarchive::unarchive(sound.finish(), kKey), ValueTree::list());
  EXPECT_FALSE(keyedarchive::unarchive(sound.finish("NRKeyedArchiver"), kKey));
  EXPECT_FALSE(keyedarchive::unarchive(sound.finish("NSKeyedArchiver", 2), kKey));
  EXPECT_FALSE(keyedarchive::unarchive(Bytes(), kKey));
  EXPECT_FALSE(keyedarchive::unarchive(Bytes::copyOf("{}"), kKey));
  EXPECT_FALSE(keyedarchive::unarchive(*plist::write(ValueTree::dictionary({{kKey, uid(1)}})), kKey));
}

TEST(KeyedArchive, RefusesUnknownClassesAndBrokenInstances) {
  EXPECT_FALSE(keyedarchive::unarchive(ArchiveFile().add("NSURL", {{"NS.objects", {}}}).finish(), kKey));
  EXPECT_FALSE(keyedarchive::unarchive(ArchiveFile().add("NSArray", {}).finish(), kKey));
  EXPECT_FALSE(keyedarchive::unarchive(ArchiveFile().add("NSDate", {{"NS.time", {}}}).finish(), kKey));
  EXPECT_FALSE(keyedarchive::unarchive(ArchiveFile().add("NSString", {{"NS.string", {}}}).finish(), kKey));
  EXPECT_FALSE(keyedarchive::unarchive(
      ArchiveFile().add("NSDictionary", {{"NS.keys", {1}}, {"NS.objects", {}}}).add("NSNull", {}).finish(),
      kKey));
  EXPECT_FALSE(keyedarchive::unarchive(
      ArchiveFile().add("NSDictionary", {{"NS.keys", {1}}, {"NS.objects", {1}}}).add("NSNull", {}).finish(),
      kKey))
      << "a key that is no string";
  EXPECT_FALSE(keyedarchive::unarchive(ArchiveFile().add("NSArray", {{"NS.objects", {200}}}).finish(), kKey))
      << "no such object";
}

TEST(KeyedArchive, RefusesCirclesAndExpansion) {
  EXPECT_FALSE(keyedarchive::unarchive(ArchiveFile().add("NSArray", {{"NS.objects", {0}}}).finish(), kKey));
  EXPECT_FALSE(keyedarchive::unarchive(
      ArchiveFile().add("NSArray", {{"NS.objects", {1}}}).add("NSArray", {{"NS.objects", {0}}}).finish(),
      kKey));
  // Each of six lists holds the next fourteen times: 14^6 values.
  ArchiveFile file;
  for (std::uint32_t i = 1; i <= 6; ++i) {
    file.add("NSArray", {{"NS.objects", std::vector<std::uint32_t>(14, i)}});
  }
  EXPECT_FALSE(keyedarchive::unarchive(file.add("NSNull", {}).finish(), kKey));
}

}  // namespace
}  // namespace vantrel
