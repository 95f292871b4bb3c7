#include "vantrel/base/TextArgument.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "vantrel/base/io/PathArgument.h"

namespace vantrel {
namespace {

using Text = std::optional<std::string>;

Text text(TextArgument argument) { return argument ? Text(*argument) : std::nullopt; }
Text path(PathArgument argument) { return text(argument); }

TEST(TextArgument, TakesEveryKindOfTextAndTellsAbsentFromEmpty) {
  char* const none = nullptr;
  char array[] = "ab";
  const std::string string("a\0b", 3);
  for (const Text& absent :
       {text(none), text(nullptr), text({}), text(std::nullopt), text(Text()),
        text(std::optional<const char*>(none)), path(none), path(std::optional<std::filesystem::path>())}) {
    EXPECT_EQ(absent, std::nullopt);
  }
  const std::pair<Text, Text> kGivenAndExpected[] = {{text(""), ""},
                                                     {text(std::string_view()), ""},
                                                     {text(string), string},
                                                     {text(Text(string)), string},
                                                     {text(array), "ab"},
                                                     {text(&array[1]), "b"},
                                                     {path(array), "ab"},
                                                     {path(std::filesystem::path("c") / "d"), "c/d"},
                                                     {path(std::optional<std::filesystem::path>("c")), "c"},
                                                     {path(std::filesystem::directory_entry("/")), "/"}};
  for (const auto& [given, expected] : kGivenAndExpected) EXPECT_EQ(given, expected);
}

}  // namespace
}  // namespace vantrel
