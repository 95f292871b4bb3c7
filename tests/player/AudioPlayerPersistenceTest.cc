// What outlives the process.

#include "tests/player/PlayerFixture.h"
#include "vantrel/player/detail/PlayerRegistry.h"

namespace vantrel::testing {
namespace {

class AudioPlayerPersistence : public PlayerFixture {
 protected:
  void store(const char* key, const ValueTree& value) {
    ASSERT_TRUE(settings()->setObject_forKey(value, key));
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

TEST_F(AudioPlayerPersistence, StoresZeroWhenThereIsNoPlayer) {
  KWAudioPlayer::savePlayIndex();
  EXPECT_EQ(stored("KW_AUDIO_PLAYINDEX"), "0");
}

TEST_F(AudioPlayerPersistence, StoresTheIndexOfThePlayerThatPlayedLast) {
  addSongs("AB");
  const auto library = KWAudioPlayer::sharedMe();
  const auto files = KWAudioPlayer::sharedMeByPaths(fileList("CDE"));
  library->didPlay(1);
  files->didPlay(2);
  EXPECT_EQ(stored("KW_AUDIO_PLAYINDEX"), "1");
  files->didPlay(2);
  EXPECT_EQ(stored("KW_AUDIO_PLAYINDEX"), "2");
}

TEST_F(AudioPlayerPersistence, ReadsTheIndexAsTheLeadingIntegerOfATextOrNumber) {
  const std::pair<ValueTree, std::int64_t> cases[] = {{"7", 7},
                                                      {"  42 songs", 42},
                                                      {"-3", -3},
                                                      {"+5", 5},
                                                      {"1.9", 1},
                                                      {"", 0},
                                                      {"x", 0},
                                                      {"- 3", 0},
                                                      {"2147483648", 2147483647},
                                                      {"-99999999999999999999", -2147483648},
                                                      {7, 7},
                                                      {-2.9, -2},
                                                      {1e20, 2147483647},
                                                      {true, 0},
                                                      {ValueTree::list(), 0}};
  EXPECT_EQ(KWAudioPlayer::getPlayIndex(), 0);
  for (const auto& [value, index] : cases) {
    store("KW_AUDIO_PLAYINDEX", value);
    EXPECT_EQ(KWAudioPlayer::getPlayIndex(), index) << shown(value);
  }
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

TEST_F(AudioPlayerPersistence, RestoresTheTrackOfTheLibraryPaused) {
  addSongs("AB");
  const auto player = KWAudioPlayer::sharedMe();
  store("KW_AUDIO_PLAYINDEX", "1");
  store("KW_AUDIO_PLAYPROGRESS", "0.50");
  store("KW_AUDIO_PLAYMODE", "2");
  (*player->mList())[1]->setIsPlaying(true);
  journal_.take();
  KWAudioPlayer::recoveryMusicInfo();
  EXPECT_THAT(
      journal_.take(),
      ElementsAre("url-A: stop", "url-B: volume 0.3", "url-B: metering", "url-B: seek 100",
                  "KW_AU_PROGRESS {TIME_NOW=01:40 TIME_END=03:20 PROGRESS=0.5}", "KW_AU_NOTE KW_PAUSE"));
  EXPECT_EQ(player->mMode(), 2u);
  EXPECT_EQ(player->play_index(), 1);
  EXPECT_EQ(player->mState(), 0u);
  EXPECT_EQ(player->mNowItem()->mTitle(), "B");
  EXPECT_FALSE(player->mNowItem()->isPlaying());
  EXPECT_FALSE(files_->last().playing());
  EXPECT_EQ(KWAudioPlayer::currentType(), 3u);
  player->didContinue();
  EXPECT_TRUE(files_->last().playing());
}

TEST_F(AudioPlayerPersistence, RestoresAFileAtItsStartWithoutTheSizeLine) {
  KWAudioPlayer::sharedMeByPaths(fileList("AB"))->didPlay(0);
  store("KW_AUDIO_PLAYINDEX", "1");
  store("KW_AUDIO_PLAYPROGRESS", "0.50");
  journal_.take();
  KWAudioPlayer::recoveryMusicInfo();
  EXPECT_THAT(journal_.take(), ElementsAre("A: stop", "B: volume 0.3", "B: metering", "B: seek 0",
                                           "KW_AU_PROGRESS {TIME_NOW=00:00 TIME_END=03:20 PROGRESS=0}",
                                           "KW_AU_NOTE KW_PAUSE"));
}

TEST_F(AudioPlayerPersistence, RestoresOfAStreamOnlyWhatIsRemembered) {
  const auto player = KWAudioPlayer::sharedMe_2();
  player->setNetPaths(streamList("AB"));
  player->didPlay(0);
  store("KW_AUDIO_PLAYINDEX", "1");
  store("KW_AUDIO_PLAYMODE", "3");
  journal_.take();
  KWAudioPlayer::recoveryMusicInfo();
  EXPECT_THAT(journal_.take(), IsEmpty());
  EXPECT_EQ(player->mNowItem()->mTitle(), "B");
  EXPECT_EQ(player->play_index(), 1);
  EXPECT_EQ(player->mMode(), 3u);
}

TEST_F(AudioPlayerPersistence, RestoresTheFirstTrackFromItsStartWhenTheListHasShrunk) {
  addSongs("AB");
  const auto player = KWAudioPlayer::sharedMe();
  store("KW_AUDIO_PLAYPROGRESS", "0.50");
  for (const char* index : {"2", "-1", "2147483647"}) {
    store("KW_AUDIO_PLAYINDEX", index);
    journal_.take();
    KWAudioPlayer::recoveryMusicInfo();
    EXPECT_THAT(journal_.take(), ::testing::Contains("url-A: seek 0")) << index;
    EXPECT_EQ(player->play_index(), 0);
    store("KW_AUDIO_PLAYPROGRESS", "0.50");
  }
}

TEST_F(AudioPlayerPersistence, RestoresNothingWithoutPlayerOrList) {
  KWAudioPlayer::recoveryMusicInfo();
  EXPECT_THAT(journal_.take(), IsEmpty());
  player::detail::PlayerRegistry::shared().PLAYER_TYPE = 1;
  store("KW_AUDIO_PLAYMODE", "2");
  KWAudioPlayer::recoveryMusicInfo();
  EXPECT_THAT(journal_.take(), IsEmpty());
  EXPECT_EQ(KWAudioPlayer::sharedMe_1()->mMode(), 0u);
}

TEST_F(AudioPlayerPersistence, PassesOverARememberedTrackThatCannotBeOpened) {
  addSongs("AB");
  const auto player = KWAudioPlayer::sharedMe();
  journal_.take();
  files_->failNextOpen();
  KWAudioPlayer::recoveryMusicInfo();
  EXPECT_THAT(journal_.take(),
              ElementsAre("url-A: stop", "log: A music duration is 0.", "log: did play volume:0.50",
                          "url-B: volume 0.5", "url-B: metering", "url-B: prepare", "url-B: play",
                          "KW_AU_NOTE KW_PLAY", "KW_UPDATE", "KW_AU_NOTE KW_PAUSE"));
}

TEST_F(AudioPlayerPersistence, SurvivesAProcess) {
  addSongs("ABC");
  KWAudioPlayer::sharedMe()->didPlay(1);
  KWAudioPlayer::sharedMe()->didPlay(2);
  KWAudioPlayer::sharedMe()->setMMode(3);
  files_->last().moveTo(50);
  advance(1);
  KWAudioPlayer::resetForTests();
  KWAudioPlayer::recoveryMusicInfo();
  const auto player = KWAudioPlayer::currentPlayer();
  EXPECT_EQ(player->mNowItem()->mTitle(), "C");
  EXPECT_EQ(player->mMode(), 3u);
  EXPECT_EQ(files_->last().currentTime(), 50);
}

}  // namespace
}  // namespace vantrel::testing
