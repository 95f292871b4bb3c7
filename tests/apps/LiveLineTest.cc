#include "apps/vantrel/LiveLine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <clocale>
#include <limits>

namespace app {
namespace {

Playing playing(const std::string& title) {
  return {.title = title,
          .state = 1,
          .mode = 3,
          .count = 12,
          .now = "01:05",
          .end = "03:20",
          .fraction = 0.325,
          .decibels = {-6, -24},
          .volume = 0.8F};
}

class LiveLine : public testing::Test {
 protected:
  void SetUp() override { ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr); }
};

TEST_F(LiveLine, FitsEveryWidthWhateverTheTitle) {
  for (const char* title :
       {"", "a", "song.mp3", "A long title that goes on and on and on until no terminal has room",
        "音楽音楽音楽音楽音楽音楽音楽音楽", "e\xcc\x81t\xc3\xa9", "\x1b[31mred\n\xff\xfe", "🎵🎶 mixed 音"}) {
    for (const bool unicode : {true, false}) {
      for (int columns = 0; columns < 200; ++columns) {
        const std::string line = liveLine(playing(title), {columns, unicode, false});
        EXPECT_LT(columnsOf(line), std::max(columns, 1)) << line;
      }
    }
  }
}

TEST_F(LiveLine, ShowsWhatThereIsRoomFor) {
  EXPECT_THAT(liveLine(playing("song.mp3"), {100, true, false}),
              testing::MatchesRegex(".*▶ 1/12 song.mp3.*01:05 ━.*─ 03:20.*once.*80%.*"));
  EXPECT_EQ(liveLine(playing("song.mp3"), {26, true, false}), "▶ song.mp3  01:05/03:20");
  EXPECT_EQ(liveLine(playing("song.mp3"), {12, true, false}), "▶ song.mp3");
  EXPECT_EQ(liveLine(playing("song.mp3"), {8, true, false}), "▶ song…");
  EXPECT_EQ(liveLine(playing("a"), {80, true, false}).find('\033'), std::string::npos);
  EXPECT_NE(liveLine(playing("a"), {80, true, true}).find('\033'), std::string::npos) << "colours";
}

TEST_F(LiveLine, TheBarShowsTheFraction) {
  Playing state = playing("a");
  state.decibels = {};  // the meter has signs of the bar's too
  const auto done = [&](double fraction) {
    state.fraction = fraction;
    const std::string line = liveLine(state, {39, false, false});
    return std::count(line.begin(), line.end(), '=');
  };
  const auto whole = done(1);
  EXPECT_GE(whole, 10);
  EXPECT_NEAR(static_cast<double>(done(0.5)), static_cast<double>(whole) / 2, 1);
  EXPECT_EQ(done(7), whole);
  for (const double none : {0.0, -1.0, std::numeric_limits<double>::quiet_NaN()})
    EXPECT_EQ(done(none), 0) << none;
}

TEST_F(LiveLine, TheMeterFollowsTheLevel) {
  Playing state = playing("a");
  const auto meter = [&](std::vector<float> decibels) {
    state.decibels = std::move(decibels);
    return liveLine(state, {42, true, false});
  };
  EXPECT_NE(meter({0, -160}).find("█ "), std::string::npos);
  EXPECT_NE(meter({-24, -24}).find("▄▄"), std::string::npos);
  EXPECT_NE(meter({-24}).find("▄▄"), std::string::npos) << "one channel is heard on both sides";
  EXPECT_EQ(meter({}), meter({-160, -160}));
  EXPECT_EQ(meter({std::numeric_limits<float>::quiet_NaN()}), meter({}));
}

TEST_F(LiveLine, StaysInAsciiWhereTheTerminalShowsNoMore) {
  std::setlocale(LC_CTYPE, "C");
  EXPECT_THAT(liveLine(playing("Entr\u00e9e"), {80, false, false}),
              testing::MatchesRegex("[ -~]*Entr[?]e[ -~]*"));
}

TEST_F(LiveLine, CutsAndEscapesTitles) {
  EXPECT_EQ(printable("a\x1b[2J\r\n\tb\x7f"), "a?[2J???b?");
  EXPECT_EQ(printable("\xff"), "\xef\xbf\xbd");
  EXPECT_EQ(printable("日本"), "日本");
  const struct {
    const char* title;
    int columns;
    bool unicode;
    const char* cut;
  } cases[] = {{"日本語", 6, true, "日本語"},
               {"日本語", 5, true, "日本…"},
               {"日本語", 4, true, "日…"},
               {"abc", 2, false, "a~"},
               {"abc", 0, true, ""}};
  for (const auto& [title, columns, unicode, cut] : cases) EXPECT_EQ(shortened(title, columns, unicode), cut);
}

}  // namespace
}  // namespace app
