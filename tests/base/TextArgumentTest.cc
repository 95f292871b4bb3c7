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

TEST(TextArgument, IsAbsentForNullPointersAndAbsentTexts) {
  char* const none = nullptr;
  for (const Text& absent :
       {text(static_cast<const char*>(none)), text(none), text(nullptr), text({}), text(std::nullopt),
        text(Text()), text(std::optional<std::string_view>()), text(std::optional<const char*>(nullptr)),
        path(none), path(std::nullopt), path(Text()), path(std::optional<std::filesystem::path>())}) {
    EXPECT_EQ(absent, std::nullopt);
  }
}

TEST(TextArgument, TakesEveryKindOfText) {
  const std::string string("a\0b", 3);
  char array[] = "cd";
  EXPECT_EQ(text(""), "");
  EXPECT_EQ(text(std::string_view()), "") << "empty, whatever it points to";
  EXPECT_EQ(text(string), string);
  EXPECT_EQ(text(std::string_view(string)), string);
  EXPECT_EQ(text(Text(string)), string);
  EXPECT_EQ(text(std::optional<const char*>(array)), "cd");
  EXPECT_EQ(text(array), "cd");
  EXPECT_EQ(text(&array[1]), "d");
  EXPECT_EQ(path(array), "cd");
  EXPECT_EQ(path(std::filesystem::path("e") / "f"), "e/f");
  EXPECT_EQ(path(std::optional<std::filesystem::path>("e")), "e");
  EXPECT_EQ(path(std::filesystem::directory_entry("/")), "/");
}

}  // namespace
}  // namespace vantrel
