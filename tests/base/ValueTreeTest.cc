#include "vantrel/base/ValueTree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "tests/support/AllocationCounter.h"

namespace vantrel {
namespace {

using Kind = ValueTree::Kind;

ValueTree tower(int levels) {
  ValueTree tree;
  for (int i = 0; i < levels; i += 2)
    tree = ValueTree::dictionary({{"down", ValueTree::list({std::move(tree)})}});
  return tree;
}

TEST(ValueTree, GivesAValueOnlyAsItsOwnKind) {
  const ValueTree list = ValueTree::list({1});
  const ValueTree dictionary = ValueTree::dictionary({{"k", 1}});
  const ValueTree values[] = {nullptr, true,      1, 1.5, "text", Date{2}, Bytes::copyOf("data"),
                              list,    dictionary};
  for (std::size_t i = 0; i < std::size(values); ++i) {
    const ValueTree& value = values[i];
    const Kind kind = static_cast<Kind>(i);
    EXPECT_EQ(value.kind(), kind);
    EXPECT_EQ(value.asBoolean().has_value(), kind == Kind::Boolean);
    EXPECT_EQ(value.asInteger().has_value(), kind == Kind::Integer);
    EXPECT_EQ(value.asDouble().has_value(), kind == Kind::Integer || kind == Kind::Floating);
    EXPECT_EQ(value.asString().has_value(), kind == Kind::String);
    EXPECT_EQ(value.asDate().has_value(), kind == Kind::Date);
    EXPECT_EQ(value.asData().has_value(), kind == Kind::Data);
    EXPECT_EQ(value.items().size(), kind == Kind::List ? 1u : 0u);
    EXPECT_EQ(value.members().size(), kind == Kind::Dictionary ? 1u : 0u);
    for (const ValueTree& other : values) EXPECT_EQ(value == other, &value == &other) << value << other;
    // What is not there is null, and what only containers take is ignored.
    EXPECT_EQ(value[1].kind(), Kind::Null);
    EXPECT_EQ(value[""].kind(), Kind::Null);
    EXPECT_EQ(value.find("key"), nullptr);
    ValueTree changed = value;
    EXPECT_FALSE(changed.remove("key"));
    const bool takesKeys = kind == Kind::Dictionary || kind == Kind::Null;
    EXPECT_TRUE(takesKeys || !changed.set("key", 1));
    const bool takesItems = kind == Kind::List || kind == Kind::Null;
    if (!takesItems) changed.append(1);
    EXPECT_EQ(changed, value);
  }
  EXPECT_EQ(values[6].asData()->text(), "data");
  EXPECT_EQ(ValueTree(static_cast<const char*>(nullptr)), ValueTree());
}

enum Unscoped { kNegative = -3 };

TEST(ValueTree, ComparesNumbersByTheirExactValue) {
  constexpr auto kLowest = std::numeric_limits<std::int64_t>::min();
  constexpr auto kHighest = std::numeric_limits<std::uint64_t>::max();
  using Pair = std::pair<ValueTree, ValueTree>;
  for (const auto& [a, b] : {Pair(1, 1.0), Pair(-0.0, 0), Pair(9223372036854775808u, 9223372036854775808.0),
                             Pair(kLowest, -9223372036854775808.0), Pair(std::nan(""), std::nan(""))}) {
    EXPECT_TRUE(a == b && b == a) << a;
  }
  for (const auto& [a, b] :
       {Pair(-1, kHighest), Pair(9007199254740993, 9007199254740992.0),
        Pair(std::numeric_limits<std::int64_t>::max(), 9223372036854775808.0),
        Pair(kHighest, 18446744073709551616.0), Pair(0, std::nan("")), Pair(1, true), Pair(1, 1.5)}) {
    EXPECT_FALSE(a == b || b == a) << a;
  }
  EXPECT_EQ(ValueTree(kNegative).asInteger(), -3);
  EXPECT_EQ(ValueTree(kLowest).asUnsigned(), std::nullopt);
  EXPECT_EQ(ValueTree(kHighest).asUnsigned(), kHighest);
  EXPECT_EQ(ValueTree(kHighest).asInteger(), std::nullopt);
  EXPECT_EQ(ValueTree(kHighest).asDouble(), 18446744073709551616.0);
}

TEST(ValueTree, TakesPartsOfItself) {
  ValueTree tree = ValueTree::dictionary({{"a key beyond fourteen bytes", "value"}});
  tree.set("self", tree);
  EXPECT_EQ(tree["self"].size(), 1u);
  const auto first = [&]() -> const ValueTree::Member& { return *tree.members().begin(); };
  for (int i = 0; i < 40; ++i) tree.set(std::string(first().key()) + std::to_string(i), tree);
  tree.set(first().key(), tree["self"]);
  EXPECT_EQ(first().value(), tree["self"]);
  tree = tree["self"];
  EXPECT_EQ(tree.size(), 1u);
  ValueTree list = ValueTree::list({"an item beyond fourteen bytes"});
  for (int i = 0; i < 10; ++i) list.append(list[0]);
  EXPECT_EQ(list[10], list[0]);
}

TEST(ValueTree, DictionariesAreWhatSettingAndRemovingMakesOfThem) {
  std::mt19937 random(5);
  ValueTree tree = ValueTree::dictionary(), copy = tree;
  std::vector<std::pair<std::string, int>> expected, ofCopy;
  const auto check = [](const ValueTree& value, const auto& members) {
    ASSERT_EQ(value.size(), members.size());
    auto next = members.begin();
    for (const auto& [key, number] : value.members()) {
      ASSERT_EQ(key, next->first);
      ASSERT_EQ(value[key], ValueTree(next++->second));
    }
  };
  for (int step = 0; step < 20'000 && !HasFatalFailure(); ++step) {
    // It grows to some hundreds, shrinks below what has an index, and so on.
    const bool grows = step / 1'000 % 2 == 0;
    const std::string key = "a key of some length " + std::to_string(random() % 400);
    const auto at = std::ranges::find(expected, key, &std::pair<std::string, int>::first);
    const bool isThere = at != expected.end();
    if (random() % 8 < (grows ? 6 : 1)) {
      tree.set(key, step);
      isThere ? void(at->second = step) : void(expected.emplace_back(key, step));
    } else {
      ASSERT_EQ(tree.remove(key), isThere);
      if (isThere) expected.erase(at);
    }
    if (random() % 50 == 0) copy = tree, ofCopy = expected;
    if (step % 100 == 0) check(tree, expected), check(copy, ofCopy);
    ASSERT_EQ(tree == copy, std::ranges::is_permutation(expected, ofCopy)) << step;
  }
}

TEST(ValueTree, ListItemsAreReplacedInsertedAndRemoved) {
  ValueTree list;
  EXPECT_FALSE(list.insert(1, 0));
  EXPECT_TRUE(list.insert(0, "b, longer than a value itself") && list.insert(0, "a") && list.set(2, "c"));
  const ValueTree copy = list;
  EXPECT_TRUE(list.set(0, "A") && list.remove(1));
  EXPECT_FALSE(list.set(3, "d") || list.remove(2) || list.remove(-1));
  EXPECT_EQ(list, ValueTree::list({"A", "c"}));
  EXPECT_EQ(copy, ValueTree::list({"a", "b, longer than a value itself", "c"}));
}

TEST(ValueTree, NestedValuesAreFoundAndChangedWhereTheyStand) {
  ValueTree tree = ValueTree::dictionary({{"users", ValueTree::list({ValueTree::dictionary({{"age", 1}})})}});
  const ValueTree before = tree;
  EXPECT_EQ(tree.find("users", 0, "age"), &tree["users"][0]["age"]);
  EXPECT_EQ(tree.find("users", 1, "age"), nullptr);
  EXPECT_EQ(tree.edit("users", "age"), nullptr);
  *tree.edit("users", 0, "age") = 2;
  EXPECT_EQ(tree["users"][0]["age"], ValueTree(2));
  EXPECT_EQ(before["users"][0]["age"], ValueTree(1));
  EXPECT_EQ(tree.edit(), &tree);

  const struct {
    std::vector<ValueTree::Step> path;
    bool isSet;
  } cases[] = {{{"users", 0, "name"}, true},
               {{"users", 1, "tags", 0}, true},
               {{"users", 3}, false},
               {{"users", 2, "tags", 1}, false},
               {{"users", "name"}, false},
               {{"new", "deep", "er"}, true},
               {{-1}, false}};
  for (const auto& [path, isSet] : cases) {
    const ValueTree old = tree;
    EXPECT_EQ(tree.setAt(path, 7), isSet);
    EXPECT_EQ(isSet ? tree.find(path)->asInteger() : 7, 7);
    EXPECT_EQ(tree == old, !isSet);
  }
  EXPECT_TRUE(tree.setAt({}, 5));
  EXPECT_EQ(tree, ValueTree(5));
}

enum class Scoped { One };

template <typename To, typename... From>
constexpr bool kTakesAll = (std::is_convertible_v<From, To> && ...);
template <typename To, typename... From>
constexpr bool kTakesNone = !(std::is_convertible_v<From, To> || ...);

static_assert(kTakesAll<ValueTree, char*, std::uint8_t, Unscoped> && kTakesAll<ValueTree::Step, char*, int>);
static_assert(kTakesNone<ValueTree, char, wchar_t, char8_t, const char8_t*, int*, void (*)(), Scoped,
                         int std::string::*, std::vector<bool>::reference>);
static_assert(kTakesNone<ValueTree::Step, char, bool, double>);

TEST(ValueTree, ANullTextIsNullAndNamesNothing) {
  const char* const none = nullptr;
  ValueTree tree = ValueTree::dictionary({{none, 1}, {"", 2}});
  EXPECT_EQ(tree[none], ValueTree());
  EXPECT_FALSE(tree.set(none, 1) || tree.setAt({"a", none}, 1) || tree.remove(none));
  EXPECT_EQ(tree, ValueTree::dictionary({{"", 2}}));
  EXPECT_EQ(tree[std::string_view()], ValueTree(2));
  tree.set("", none);
  EXPECT_EQ(tree[""].kind(), Kind::Null);
}

TEST(ValueTree, IsPrintedOnOneLine) {
  std::ostringstream out;
  out << std::hex
      << ValueTree::list({nullptr, true, 17, 2.0, 0.1, std::nan(""), "q\"\n\x01é", Date{1.5},
                          Bytes::copyOf("data"), ValueTree::list(),
                          ValueTree::dictionary({{"a", ValueTree::list({1, 2})}, {"b\t", 3}})});
  EXPECT_EQ(out.str(), R"([null,true,17,2.0,0.1,nan,"q\"\n\u0001é",date(1.5),data(4 bytes),[],)"
                       R"({"a":[1,2],"b\t":3}])");
}

TEST(ValueTree, IsCopiedComparedAndDestroyedAtAnyDepth) {
  const ValueTree one = tower(100'000), copy = one;
  ValueTree other = tower(100'000);
  EXPECT_EQ(copy, one);
  EXPECT_EQ(other, one);
  EXPECT_FALSE(other == tower(99'998));
  other.set("extra", 1);
  EXPECT_FALSE(other == one);
}

TEST(ValueTree, SmallValuesAllocateNothing) {
  ValueTree dictionary = ValueTree::dictionary({{"position", 0}});
  const std::uint64_t before = tests::allocationsOfThisThread();
  const ValueTree values[] = {
      1, 2.5, true, nullptr, "fourteen bytes", Date{1}, ValueTree::list(), ValueTree::dictionary()};
  const ValueTree copy = dictionary;
  EXPECT_EQ(tests::allocationsOfThisThread(), before) << values[4] << copy;
  dictionary = ValueTree::dictionary({{"position", 0}});
  const std::uint64_t rebuilt = tests::allocationsOfThisThread();
  EXPECT_EQ(rebuilt, before + 1);
  dictionary.set("position", "replaced");
  EXPECT_EQ(tests::allocationsOfThisThread(), rebuilt);
}

}  // namespace
}  // namespace vantrel
