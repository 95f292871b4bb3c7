#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <string>

#include "tests/support/AllocationCounter.h"
#include "vantrel/base/ValueTree.h"
#include "vantrel/data/Json.h"

namespace vantrel {
namespace {

/// The item again and again, with commas between, up to about so many characters.
std::string joined(const std::string& item, std::size_t size) {
  std::string text = item;
  while (text.size() < size) text += "," + item;
  return text;
}

std::string listOf(const std::string& item) { return "[" + joined(item, 100'000) + "]"; }

std::string dictionaryOf(int members) {
  std::string text = "{";
  for (int i = 0; i < members; ++i) text += "\"" + std::string(1, static_cast<char>('A' + i)) + "\":0,";
  text.back() = '}';
  return text;
}

TEST(ValueMemory, AParsedTextTakesNoMoreThanItIsSaidTo) {
  const std::string record =
      R"({"id":100000,"title":"Song number 7 – live","seconds":1204.714286,"tags":["jazz","quiet"],"on":true})";
  const struct {
    std::string text;
    double times;
  } cases[] = {
      {listOf("0"), 10},
      {listOf("[]"), 10},
      {listOf("[0]"), 10},
      {listOf(std::string(500, '[') + std::string(500, ']')), 10},
      {"{" + joined("\"a\":1", 100'000) + "}", 10},
      {listOf(dictionaryOf(17)), 10},
      {listOf(dictionaryOf(22)), 10},
      {"\"" + std::string(100'000, ',') + "\"", 10},
      {listOf("{" + joined("\"\":\",,\"", 190) + "}"), 12},
      {listOf(record), 4},
  };
  for (const auto& [text, times] : cases) {
    const std::int64_t before = tests::bytesInUseByThisThread();
    tests::forgetMostBytesInUse();
    const auto value = json::parse(text);
    EXPECT_TRUE(value) << text.substr(0, 40);
    const auto taken = static_cast<double>(tests::mostBytesInUseByThisThread() - before);
    EXPECT_LE(taken, times * static_cast<double>(text.size()) + 1024) << text.substr(0, 40);
  }
}

TEST(ValueMemory, ATextPastTheLimitIsAbsent) {
  for (const std::string& text : {listOf("0"), listOf(dictionaryOf(17)), dictionaryOf(17),
                                  "[\"" + std::string(70'000, 'a') + "\"]", std::string("1")}) {
    bool isEnough = false;
    for (std::uint64_t limit = 0; !isEnough; limit += text.size() / 7 + 1) {
      ASSERT_LT(limit, 12 * text.size() + 1024);
      const std::int64_t before = tests::bytesInUseByThisThread();
      tests::forgetMostBytesInUse();
      isEnough = json::parse(text, limit).has_value();
      // What the allocator rounds up is not counted, nor is the reason.
      const auto most = static_cast<std::int64_t>(limit + limit / 10 + 1024);
      ASSERT_LE(tests::mostBytesInUseByThisThread() - before, most);
      ASSERT_EQ(tests::bytesInUseByThisThread(), before) << limit;
    }
  }
}

/// Does something over and over, each time with a later allocation that fails, until none does.
void runOutOfMemory(const std::function<void(ValueTree&)>& action, const ValueTree& start) {
  bool isDone = false;
  for (std::int64_t successes = 0; !isDone; ++successes) {
    const std::int64_t before = tests::bytesInUseByThisThread();
    {
      ValueTree value = start;
      try {
        const tests::FailingAllocation failing(successes);
        action(value);
        isDone = true;
      } catch (const std::bad_alloc&) {
        EXPECT_EQ(value.kind(), start.kind()) << successes;
        EXPECT_EQ(value, start) << successes;
      }
    }
    EXPECT_EQ(tests::bytesInUseByThisThread(), before) << successes;
  }
}

TEST(ValueMemory, NothingIsLeakedOrHalfDoneWhenMemoryRunsOut) {
  const std::string text = listOf(dictionaryOf(17)) + std::string(100'000, ' ');
  runOutOfMemory([&](ValueTree&) { EXPECT_TRUE(json::parse(text)); }, {});

  const ValueTree parsed = *json::parse("[" + dictionaryOf(16) + "," + dictionaryOf(26) + "]");
  const ValueTree built = ValueTree::dictionary(
      {{"list", ValueTree::list({1, "a text beyond fourteen bytes"})}, {"other", parsed[1]}});
  const auto change = [](ValueTree& value) {
    value.set("a key beyond fourteen bytes", "a value beyond fourteen bytes");
  };
  for (const ValueTree& value : {ValueTree(), parsed[0], parsed[1], built, built["other"]}) {
    runOutOfMemory(change, value);
  }
  const auto removal = [](ValueTree& value) { EXPECT_TRUE(value.remove("B")); };
  for (const ValueTree& value : {parsed[0], parsed[1]}) runOutOfMemory(removal, value);
  for (const ValueTree& value : {ValueTree(), parsed, built["list"]}) {
    runOutOfMemory([](ValueTree& list) { list.append("an item beyond fourteen bytes"); }, value);
  }
  const auto deep = [](ValueTree& value) {
    EXPECT_TRUE(value.setAt({0, "B", "a key beyond fourteen bytes"}, 1) || value.setAt({1, "new", 0}, 1));
  };
  runOutOfMemory(deep, parsed);
}

TEST(ValueMemory, AKeyMayBeAViewOfWhatTheChangeGivesUp) {
  // Of a parsed text nothing but the key keeps the memory that the key lies in.
  ValueTree value = *json::parse(R"({"a key beyond fourteen bytes":{"another key of that length":1}})");
  const auto& [key, inner] = *value.members().begin();
  EXPECT_TRUE(value.setAt({key, inner.members().begin()->key()}, 2));
  EXPECT_EQ(value, ValueTree::dictionary({{"a key beyond fourteen bytes",
                                           ValueTree::dictionary({{"another key of that length", 2}})}}));
}

TEST(ValueMemory, ComparingTakesNoneUpToDozensOfLevels) {
  ValueTree one = 1;
  ValueTree other = 1;
  for (ValueTree* const tree : {&one, &other}) {
    for (int level = 0; level < 60; ++level) *tree = ValueTree::list({*tree, ValueTree::list({level})});
  }
  const std::uint64_t before = tests::allocationsOfThisThread();
  const bool equal = one == other;
  EXPECT_EQ(tests::allocationsOfThisThread(), before);
  EXPECT_TRUE(equal);
}

}  // namespace
}  // namespace vantrel
