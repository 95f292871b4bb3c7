// What outlives the process.

#include "tests/player/PlayerScenes.h"

namespace vantrel::testing {
namespace {

class AudioPlayerPersistence : public PlayerScenes {
 protected:
  void store(const char* key, const ValueTree& value) {
    ASSERT_TRUE(settings_->setObject_forKey(value, key));
  }

  /// What restoring this index, progress and mode tells.
  std::string recovered(const std::string& script, const char* index, const char* progress,
                        const char* mode) {
    forget();
    script_.run(script);
    store("KW_AUDIO_PLAYINDEX", index);
    store("KW_AUDIO_PLAYPROGRESS", progress);
    store("KW_AUDIO_PLAYMODE", mode);
    return toldBy("| recover");
  }
};

TEST_F(AudioPlayerPersistence, StoresTheModeAsText) {
  const auto player = KWAudioPlayer::sharedMe_1();
  EXPECT_EQ(KWAudioPlayer::getPlayMode(), std::nullopt);
  player->setMMode(2);
  EXPECT_EQ(stored("KW_AUDIO_PLAYMODE"), "2");
  EXPECT_EQ(player->mMode(), 2u);
  EXPECT_EQ(KWAudioPlayer::getPlayMode(), 2u);
  store("KW_AUDIO_PLAYMODE", "x");
  EXPECT_EQ(KWAudioPlayer::getPlayMode(), std::nullopt);
}

TEST_F(AudioPlayerPersistence, StoresTheIndexOfThePlayerThatPlayedLast) {
  KWAudioPlayer::savePlayIndex();
  EXPECT_EQ(stored("KW_AUDIO_PLAYINDEX"), "0") << "without a player";
  script_.run("library:AB play:1 files:CDE play:2");
  EXPECT_EQ(stored("KW_AUDIO_PLAYINDEX"), "1");
  script_.run("play:2");
  EXPECT_EQ(stored("KW_AUDIO_PLAYINDEX"), "2");
}

TEST_F(AudioPlayerPersistence, ReadsTheIndexAsTheLeadingIntegerOfATextOrNumber) {
  EXPECT_EQ(KWAudioPlayer::getPlayIndex(), 0);
  std::vector<std::int64_t> read;
  for (const ValueTree& value :
       std::initializer_list<ValueTree>{"7", "  42 songs", "-3", "+5", "1.9", "", "x", "- 3", "2147483648",
                                        "-99999999999999999999", 7, -2.9, 1e20, true, ValueTree::list()}) {
    store("KW_AUDIO_PLAYINDEX", value);
    read.push_back(KWAudioPlayer::getPlayIndex());
  }
  const std::vector<std::int64_t> expected = {7,          42,          -3, 5,  1,          0, 0, 0,
                                              2147483647, -2147483648, 7,  -2, 2147483647, 0, 0};
  EXPECT_EQ(read, expected);
}

TEST_F(AudioPlayerPersistence, ReadsTheProgressAsTheLeadingNumberOfATextOrNumber) {
  const std::pair<ValueTree, float> cases[] = {
      {"0.33", 0.33f}, {" .5x", 0.5f}, {"-0.25", -0.25f}, {"1", 1}, {"", 0},       {"nan", 0}, {"inf", 0},
      {"-inf", 0},     {"1e99", 0},    {"0,5", 0},        {"x", 0}, {0.75, 0.75f}, {1, 1},     {1e99, 0}};
  EXPECT_EQ(KWAudioPlayer::getPlayProgress(), 0);
  for (const auto& [value, progress] : cases) {
    store("KW_AUDIO_PLAYPROGRESS", value);
    EXPECT_EQ(KWAudioPlayer::getPlayProgress(), progress) << shown(value);
  }
}

TEST_F(AudioPlayerPersistence, RestoresTheTrackPaused) {
  const struct {
    const char *script, *index, *told, *stands;
  } cases[] = {{"library:AB play:1 play:0 stop", "1",
                "url-A: stop, url-B: volume 0.3, url-B: metering, url-B: seek 100, "
                "KW_AU_PROGRESS {TIME_NOW=01:40 TIME_END=03:20 PROGRESS=0.5}, KW_AU_NOTE KW_PAUSE",
                "stopped B@1 [] (paused)"},
               {"files:AB play:0", "1",
                "A: stop, B: volume 0.3, B: metering, B: seek 0, "
                "KW_AU_PROGRESS {TIME_NOW=00:00 TIME_END=03:20 PROGRESS=0}, KW_AU_NOTE KW_PAUSE",
                "playing B@1 [A] (playing)"},
               {"streams:AB play:0", "1", "", "paused B@1 [A] (playing)"}};
  for (const auto& [script, index, told, stands] : cases) {
    EXPECT_EQ(recovered(script, index, "0.50", "2"), told);
    EXPECT_EQ(standing(), stands);
    EXPECT_EQ(player_->mMode(), 2u);
  }
}

TEST_F(AudioPlayerPersistence, RestoresTheFirstTrackFromItsStartWhenTheListHasShrunk) {
  for (const char* index : {"2", "-1", "2147483647"}) {
    EXPECT_THAT(recovered("library:AB", index, "0.50", "0"), ::testing::HasSubstr("url-A: seek 0")) << index;
    EXPECT_EQ(player_->play_index(), 0);
  }
}

TEST_F(AudioPlayerPersistence, RestoresNothingWithoutPlayerOrList) {
  EXPECT_EQ(recovered("", "0", "0.50", "2"), "");
  player::detail::PlayerRegistry::shared().PLAYER_TYPE = 1;
  EXPECT_EQ(toldBy("| recover"), "");
  EXPECT_EQ(KWAudioPlayer::sharedMe_1()->mMode(), 0u);
}

TEST_F(AudioPlayerPersistence, PassesOverARememberedTrackThatCannotBeOpened) {
  script_.run("library:AB");
  files_->failNextOpen();
  EXPECT_EQ(
      toldBy("| recover"),
      "url-A: stop, log: A music duration is 0., log: did play volume:0.50, url-B: volume 0.5, "
      "url-B: metering, url-B: prepare, url-B: play, KW_AU_NOTE KW_PLAY, KW_UPDATE, KW_AU_NOTE KW_PAUSE");
}

TEST_F(AudioPlayerPersistence, SurvivesAProcess) {
  script_.run("library:ABC play:1 play:2 mode:3 move-to:50 wait:1");
  KWAudioPlayer::resetForTests();
  KWAudioPlayer::recoveryMusicInfo();
  player_ = KWAudioPlayer::currentPlayer();
  EXPECT_EQ(standing(), "stopped C@2 [] (stopped)");
  EXPECT_EQ(player_->mMode(), 3u);
  EXPECT_EQ(files_->last().currentTime(), 50);
  EXPECT_EQ(KWAudioPlayer::currentType(), 3u);
  script_.run("continue");
  EXPECT_TRUE(files_->last().playing());
}

}  // namespace
}  // namespace vantrel::testing
