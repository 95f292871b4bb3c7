#include "apps/vantrel/EventLines.h"

#include <gtest/gtest.h>

#include <limits>

namespace app {
namespace {

using vantrel::Notification;
using vantrel::ValueTree;

TEST(EventLines, AnEventIsAJsonObjectOnOneLine) {
  const auto progress =
      ValueTree::dictionary({{"TIME_NOW", "00:01"}, {"TIME_END", "00:02"}, {"PROGRESS", 0.5}});
  const ValueTree play("KW_PLAY");
  EXPECT_EQ(jsonLineOf({"KW_AU_NOTE", &play, nullptr}), R"({"name":"KW_AU_NOTE","object":"KW_PLAY"})");
  EXPECT_EQ(jsonLineOf({"KW_AU_PROGRESS", &progress, nullptr}),
            R"({"name":"KW_AU_PROGRESS","object":{"TIME_NOW":"00:01","TIME_END":"00:02","PROGRESS":0.5}})");
  EXPECT_EQ(jsonLineOf({"KW_UPDATE", nullptr, nullptr}), R"({"name":"KW_UPDATE","object":null})");
}

TEST(EventLines, WhatJsonCannotHoldIsNull) {
  const ValueTree speed(std::numeric_limits<double>::infinity());
  EXPECT_EQ(jsonLineOf({"KW_AU_NET_SPEED", &speed, nullptr}), R"({"name":"KW_AU_NET_SPEED","object":null})");
  const auto inside = ValueTree::dictionary({{"PROGRESS", std::numeric_limits<double>::quiet_NaN()}});
  EXPECT_EQ(jsonLineOf({"KW_AU_PROGRESS", &inside, nullptr}),
            R"({"name":"KW_AU_PROGRESS","object":{"PROGRESS":null}})");
  const ValueTree invalid("\xff");
  EXPECT_EQ(jsonLineOf({"e", &invalid, nullptr}), R"({"name":"e","object":null})");
}

TEST(EventLines, UserInformationIsShownWhenThereIsSome) {
  const auto info = ValueTree::dictionary({{"volume", 1}});
  EXPECT_EQ(jsonLineOf({"e", nullptr, &info}), R"({"name":"e","object":null,"userInfo":{"volume":1}})");
}

TEST(EventLines, TextLinesAreForPeople) {
  const auto progress =
      ValueTree::dictionary({{"TIME_NOW", "00:01"}, {"TIME_END", "00:03"}, {"PROGRESS", 0.333}});
  const ValueTree text("two\nlines");
  const ValueTree number(0.5);
  EXPECT_EQ(textLineOf({"KW_UPDATE", nullptr, nullptr}), "KW_UPDATE");
  EXPECT_EQ(textLineOf({"KW_AU_PROGRESS", &progress, nullptr}), "KW_AU_PROGRESS 00:01/00:03 33.3%");
  EXPECT_EQ(textLineOf({"e", &text, nullptr}), R"(e two\x0alines)");
  EXPECT_EQ(textLineOf({"KW_AU_VOLUME_CHANGE", &number, nullptr}), "KW_AU_VOLUME_CHANGE 0.5");
}

}  // namespace
}  // namespace app
