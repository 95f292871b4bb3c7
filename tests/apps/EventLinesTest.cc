#include "apps/vantrel/EventLines.h"

#include <gtest/gtest.h>

#include <limits>
#include <optional>

namespace app {
namespace {

using vantrel::ValueTree;

TEST(EventLines, AreForProgramsAndForPeople) {
  constexpr double kInfinite = std::numeric_limits<double>::infinity();
  constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
  const auto progress = [](double fraction) {
    return ValueTree::dictionary({{"TIME_NOW", "00:01"}, {"TIME_END", "00:02"}, {"PROGRESS", fraction}});
  };
  const struct {
    const char* name;
    std::optional<ValueTree> object;
    const char *json, *text;
  } cases[] = {
      {"KW_UPDATE", std::nullopt, "null", "KW_UPDATE"},
      {"KW_AU_NOTE", "two\nlines", R"("two\nlines")", R"(KW_AU_NOTE two\x0alines)"},
      {"KW_AU_VOLUME_CHANGE", 0.5, "0.5", "KW_AU_VOLUME_CHANGE 0.5"},
      {"KW_AU_PROGRESS", progress(0.333), R"({"TIME_NOW":"00:01","TIME_END":"00:02","PROGRESS":0.333})",
       "KW_AU_PROGRESS 00:01/00:02 33.3%"},
      // What JSON cannot hold is null there.
      {"KW_AU_PROGRESS", progress(kNan), R"({"TIME_NOW":"00:01","TIME_END":"00:02","PROGRESS":null})",
       nullptr},
      {"KW_AU_NET_SPEED", kInfinite, "null", nullptr},
      {"e", "\xff", "null", nullptr}};
  for (const auto& [name, object, json, text] : cases) {
    const vantrel::Notification event{name, object ? &*object : nullptr, nullptr};
    EXPECT_EQ(jsonLineOf(event), R"({"name":")" + std::string(name) + R"(","object":)" + json + "}");
    if (text) {
      EXPECT_EQ(textLineOf(event), text);
    }
  }
  const auto info = ValueTree::dictionary({{"volume", 1}});
  EXPECT_EQ(jsonLineOf({"e", nullptr, &info}), R"({"name":"e","object":null,"userInfo":{"volume":1}})");
}

}  // namespace
}  // namespace app
