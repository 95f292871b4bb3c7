// The phone around the player.

#include <cmath>
#include <limits>

#include "tests/player/PlayerFixture.h"

namespace vantrel::testing {
namespace {

class AudioPlayerSystem : public PlayerFixture {
 protected:
  std::shared_ptr<KWAudioPlayer> playingFiles(const std::string& names) {
    auto player = KWAudioPlayer::sharedMeByPaths(fileList(names));
    player->didPlay(0);
    journal_.take();
    return player;
  }
  static void remote(std::int64_t subtype, std::int64_t type = 2) {
    KWAudioPlayer::receiveRemoteEvent({.type = type, .subtype = subtype});
  }
};

// ---- remote commands

TEST_F(AudioPlayerSystem, ObeysRemoteCommandsAndLogsThemAfterwards) {
  const auto player = playingFiles("ABC");
  remote(101);
  EXPECT_THAT(journal_.take(),
              ElementsAre("log: didPause", "A: pause", "KW_AU_NOTE KW_PAUSE", "log: Remote Event: Pause."));
  remote(100);
  EXPECT_THAT(journal_.take(), ElementsAre("log: didContinue", "A: play", "KW_AU_NOTE KW_CONTINUE",
                                           "log: didContinue Do 0", "log: Remote Event: Play."));
  remote(104);
  EXPECT_EQ(player->play_index(), 1);
  EXPECT_EQ(journal_.take().back(), "log: Remote Event: Next.");
  remote(105);
  EXPECT_EQ(player->play_index(), 0);
  EXPECT_EQ(journal_.take().back(), "log: Remote Event: Previous.");
}

TEST_F(AudioPlayerSystem, IgnoresOtherCommandsAndOtherEvents) {
  playingFiles("A");
  for (const std::int64_t subtype : {0, 99, 102, 103, 106, 107}) remote(subtype);
  for (const std::int64_t subtype : {100, 101, 104, 105}) {
    for (const std::int64_t type : {0, 1, 3}) remote(subtype, type);
  }
  EXPECT_THAT(journal_.take(), IsEmpty());
}

TEST_F(AudioPlayerSystem, LogsCommandsThatNoPlayerHears) {
  for (const std::int64_t subtype : {100, 101, 104, 105}) remote(subtype);
  EXPECT_THAT(journal_.take(), ElementsAre("log: Remote Event: Play.", "log: Remote Event: Pause.",
                                           "log: Remote Event: Next.", "log: Remote Event: Previous."));
}

TEST_F(AudioPlayerSystem, ReplaysOnAPlayCommandOnlyAStoppedStreamOfListOnce) {
  const auto player = KWAudioPlayer::sharedMe_2();
  player->setNetPaths(streamList("A"));
  player->didPlay(0);
  struct Case {
    std::uint64_t mode, state;
    bool replays;
  };
  for (const auto& [mode, state, replays] :
       {Case{3, 0, true}, {3, 2, false}, {3, 1, false}, {0, 0, false}, {2, 0, false}}) {
    player->setMMode(mode);
    player->setMState(state);
    journal_.take();
    remote(100);
    const auto lines = journal_.take();
    EXPECT_EQ(lines.front(), replays ? "log: did play volume:0.50" : "log: didContinue");
    EXPECT_EQ(lines.back(), "log: Remote Event: Play.");
  }
  const auto files = playingFiles("B");
  files->setMMode(3);
  files->didStop();
  journal_.take();
  remote(100);
  EXPECT_EQ(journal_.take().front(), "log: didContinue");
}

// ---- playing screen

TEST_F(AudioPlayerSystem, ShowsASongOfTheLibrary) {
  MediaItem song = FakeMusicLibrary::song("Title", "Artist", "url");
  song.albumTitle = "Album";
  song.artwork = std::make_shared<FakeArtwork>();
  library_->add(song);
  files_->put("url", {.duration = 65.4});
  const auto player = KWAudioPlayer::sharedMe();
  files_->last().moveTo(12.5);
  player->setLockScreenNowPlayingInfo();
  EXPECT_EQ(center_->info(), ValueTree::dictionary({{"MPMediaItemPropertyTitle", "Title"},
                                                    {"MPMediaItemPropertyArtist", "Artist"},
                                                    {"MPMediaItemPropertyAlbumTitle", "Album"},
                                                    {"MPNowPlayingInfoPropertyPlaybackRate", 1.0},
                                                    {"MPNowPlayingInfoPropertyElapsedPlaybackTime", 12.5},
                                                    {"MPMediaItemPropertyPlaybackDuration", 65.4}}));
  EXPECT_EQ(center_->artwork(), song.artwork);
}

TEST_F(AudioPlayerSystem, ShowsWhatIsUnknownOfAFileAsUnknow) {
  const auto player = playingFiles("A");
  EXPECT_EQ(center_->info()["MPMediaItemPropertyTitle"], ValueTree("A.mp3"));
  EXPECT_EQ(center_->info()["MPMediaItemPropertyArtist"], ValueTree("Unknow Artist"));
  EXPECT_EQ(center_->info()["MPMediaItemPropertyAlbumTitle"], ValueTree("Unknow Album"));
  EXPECT_FALSE(center_->artwork());
  player->setMNowItem(nullptr);
  player->setMPlayer(nullptr);
  player->setLockScreenNowPlayingInfo();
  EXPECT_EQ(center_->info()["MPMediaItemPropertyTitle"], ValueTree("Unknow Music"));
  EXPECT_EQ(center_->info()["MPMediaItemPropertyPlaybackDuration"], ValueTree(0.0));
}

TEST_F(AudioPlayerSystem, ShowsAStreamWithItsPositionAndLengthAsFloats) {
  const auto player = KWAudioPlayer::sharedMe_2();
  player->setLockScreenNowPlayingInfo();
  EXPECT_EQ(center_->info()["MPNowPlayingInfoPropertyElapsedPlaybackTime"], ValueTree(0.0));
  player->setNetPaths(streamList("A"));
  player->didPlay(0);
  streams_->last().becomeReady({90'100, 1'000});
  streams_->last().tick(1.1);
  player->setLockScreenNowPlayingInfo();
  EXPECT_EQ(center_->info()["MPMediaItemPropertyTitle"], ValueTree("A"));
  EXPECT_EQ(center_->info()["MPMediaItemPropertyPlaybackDuration"], ValueTree(double{90.1f}));
  EXPECT_EQ(center_->info()["MPNowPlayingInfoPropertyElapsedPlaybackTime"], ValueTree(double{1.1f}));
  player->mNetPlayer()->setMSongItem(std::nullopt);
  player->setLockScreenNowPlayingInfo();
  EXPECT_EQ(center_->info()["MPMediaItemPropertyPlaybackDuration"], ValueTree(0.0));
}

TEST_F(AudioPlayerSystem, ShowsNothingOnAHostWithoutPlayingScreen) {
  const auto shown = center_;
  center_ = nullptr;
  install();
  playingFiles("A");
  EXPECT_EQ(shown->updates(), 0);
}

// ---- volume

TEST_F(AudioPlayerSystem, ReadsTheVolumeOfThePlayerThatPlays) {
  session_->setOutputVolume(0.25f);
  EXPECT_EQ(KWAudioPlayer::getPhoneVolume(), 0.25f);
  EXPECT_EQ(KWAudioPlayer::getPlayerVolume(), 0);
  addSongs("A");
  KWAudioPlayer::sharedMe()->didPlay(0);
  EXPECT_EQ(KWAudioPlayer::getPlayerVolume(), 0.25f);
  session_->setOutputVolume(0.75f);
  playingFiles("B");
  EXPECT_EQ(KWAudioPlayer::getPlayerVolume(), 0.75f);
  KWAudioPlayer::sharedMe_1()->setMPlayer(nullptr);
  EXPECT_EQ(KWAudioPlayer::getPlayerVolume(), 0);
  const auto streams = KWAudioPlayer::sharedMe_2();
  streams->setNetPaths(streamList("C"));
  streams->didPlay(0);
  EXPECT_EQ(KWAudioPlayer::getPlayerVolume(), 1);
  streams->didPlay(0);
  EXPECT_EQ(KWAudioPlayer::getPlayerVolume(), 0.75f);
}

TEST_F(AudioPlayerSystem, SetsTheVolumeOfItsPlayersAndOfTheSystem) {
  const auto files = playingFiles("A");
  files->setPhoneVolume(0.2f);
  EXPECT_EQ(files->mPlayer()->volume(), 0.2f);
  EXPECT_EQ(session_->outputVolume(), 0.2f);
  const auto streams = KWAudioPlayer::sharedMe_2();
  streams->setPhoneVolume(0.3f);
  streams->setNetPaths(streamList("B"));
  streams->didPlay(0);
  streams->setPhoneVolume(0.4f);
  EXPECT_EQ(streams->mNetPlayer()->getVolume(), 0.4f);
  EXPECT_EQ(session_->outputVolume(), 0.4f);
  EXPECT_EQ(files->mPlayer()->volume(), 0.2f);
}

TEST_F(AudioPlayerSystem, TellsChangesOfTheSystemVolumeAsLongAsItLives) {
  auto player = KWAudioPlayer::init_1();
  session_->setOutputVolume(0.125f);
  session_->postChange();
  EXPECT_THAT(journal_.take(), ::testing::Contains("KW_AU_VOLUME_CHANGE 0.125"));
  const ValueTree other = ValueTree::dictionary({{"other", 1.0}});
  const ValueTree text =
      ValueTree::dictionary({{"AVSystemController_AudioVolumeNotificationParameter", "loud"}});
  for (const ValueTree* info : {&other, &text, static_cast<const ValueTree*>(nullptr)}) {
    FakeAudioSession::postChange(info);
    EXPECT_THAT(journal_.take(), ::testing::Contains("KW_AU_VOLUME_CHANGE 0"));
  }
  player.reset();
  session_->postChange();
  EXPECT_THAT(journal_.take(), ElementsAre("AVSystemController_SystemVolumeDidChangeNotification"));
}

// ---- progress

TEST_F(AudioPlayerSystem, ShowsProgressOnceASecondWhileItPlays) {
  playingFiles("A");
  files_->last().setDuration(200.9);
  files_->last().moveTo(65.4);
  advance(0.75);
  EXPECT_THAT(journal_.take(), IsEmpty());
  advance(1.25);
  const std::string line = "KW_AU_PROGRESS {TIME_NOW=01:05 TIME_END=03:20 PROGRESS=0.3255}";
  EXPECT_THAT(journal_.take(), ElementsAre(line, line));
  EXPECT_EQ(stored("KW_AUDIO_PLAYPROGRESS"), "0.33");
}

TEST_F(AudioPlayerSystem, SuspendsItsTimerWithThePlaybackAndFiresAtOnceAfterwards) {
  const auto player = playingFiles("AB");
  const auto timer = player->pTimer();
  using Transport = void (*)(KWAudioPlayer&, FakeFilePlayer&);
  const Transport ends[] = {[](KWAudioPlayer& p, FakeFilePlayer&) { p.didPause(); },
                            [](KWAudioPlayer& p, FakeFilePlayer&) { p.didStop(); },
                            [](KWAudioPlayer& p, FakeFilePlayer& f) {
                              p.setMMode(4);
                              f.finish();
                            }};
  for (const Transport end : ends) {
    end(*player, files_->last());
    journal_.take();
    advance(10);
    EXPECT_THAT(journal_.take(), IsEmpty());
    player->didContinue();
    journal_.take();
    turn();
    EXPECT_EQ(journal_.take().size(), 1u);
    advance(1);
    EXPECT_EQ(journal_.take().size(), 1u);
  }
  EXPECT_EQ(player->pTimer(), timer);
}

TEST_F(AudioPlayerSystem, ReportsTheElapsedFractionInFloatArithmetic) {
  const auto player = playingFiles("A");
  for (const auto& [now, end] : {std::pair(65.4, 200.9), {1.0 / 3, 1e9 / 7}, {200.9, 200.9}, {0.0, 1.0}}) {
    files_->last().setDuration(end);
    files_->last().moveTo(now);
    double told = -1;
    const auto listening = NotificationBus::shared().add("KW_AU_PROGRESS", [&](const Notification& event) {
      told = (*event.object)["PROGRESS"].asDouble().value_or(-1);
    });
    player->progressShow();
    EXPECT_EQ(told, static_cast<double>(static_cast<float>(static_cast<float>(now) / end)));
  }
}

TEST_F(AudioPlayerSystem, ShowsLengthsThatAreNoLengthsInAnOrderlyWay) {
  const auto player = playingFiles("A");
  const double nan = std::numeric_limits<double>::quiet_NaN();
  files_->last().setDuration(nan);
  files_->last().moveTo(3);
  player->progressShow();
  EXPECT_THAT(journal_.take(),
              ElementsAre(::testing::StartsWith("KW_AU_PROGRESS {TIME_NOW=00:03 TIME_END=00:00 PROGRESS=")));
  EXPECT_EQ(stored("KW_AUDIO_PLAYPROGRESS"), "nan");
  files_->last().setDuration(1e300);
  files_->last().moveTo(-1e300);
  player->progressShow();
  EXPECT_THAT(journal_.take(),
              ElementsAre(::testing::StartsWith("KW_AU_PROGRESS {TIME_NOW=00:00 TIME_END=1193046:28:15")));
}

TEST_F(AudioPlayerSystem, GoesOnWhenATrackHasNoLength) {
  const auto player = playingFiles("AB");
  files_->last().setDuration(0);
  player->progressShow();
  EXPECT_EQ(journal_.take().front(), "log: A.mp3 music duration is 0.");
  EXPECT_EQ(player->play_index(), 1);
  player->setMPlayer(nullptr);
  player->setMNowItem(nullptr);
  player->setMMode(4);
  player->progressShow();
  EXPECT_THAT(journal_.take(), ElementsAre("log: (null) music duration is 0."));
}

TEST_F(AudioPlayerSystem, StopsItsTimerWhenItIsDestroyed) {
  auto player = KWAudioPlayer::initByPaths(fileList("A"));
  player->didPlay(0);
  const auto timer = player->pTimer();
  player.reset();
  EXPECT_FALSE(timer->valid());
  journal_.take();
  advance(3);
  EXPECT_THAT(journal_.take(), IsEmpty());
}

// ---- levels

TEST_F(AudioPlayerSystem, DerivesTheRhythmFromTheLevelsOfTwoChannels) {
  const auto player = KWAudioPlayer::sharedMe_1();
  EXPECT_FALSE(player->didRhythmData());
  struct Case {
    std::vector<float> decibels;
    std::int32_t rhythm;
  };
  const float nan = std::nanf("");
  // -20 dB is level 3276, 0x0CCC: 12 - 52 = -40 in signed bytes. -80 dB is level 3.
  for (const auto& [decibels, rhythm] : {Case{{0}, 2520},
                                         {{0, 0}, 5040},
                                         {{0, 0, 0}, 5040},
                                         {{}, 0},
                                         {{-20}, -800},
                                         {{-20, 0}, 1720},
                                         {{-160, -80}, 60},
                                         {{nan, nan}, 0},
                                         {{-std::numeric_limits<float>::infinity()}, 0}}) {
    files_->put("url", {.decibels = decibels});
    std::shared_ptr<FilePlayer> opened = *files_->openUrl("url");
    opened->setMeteringEnabled(true);
    player->setMPlayer(opened);
    const auto value = static_cast<std::uint32_t>(rhythm);
    const std::vector<std::uint8_t> bytes{
        static_cast<std::uint8_t>(value), static_cast<std::uint8_t>(value >> 8),
        static_cast<std::uint8_t>(value >> 16), static_cast<std::uint8_t>(value >> 24)};
    EXPECT_EQ(player->didRhythmData(), Bytes(bytes)) << rhythm;
  }
  files_->put("url", {.decibels = {1000, 1000}});
  player->setMPlayer(*files_->openUrl("url"));
  player->mPlayer()->setMeteringEnabled(true);
  EXPECT_EQ(player->didRhythmData()->size(), 4u) << "far above full scale";
}

// ---- interruptions

TEST_F(AudioPlayerSystem, TellsInterruptionsAndLeavesPausingToTheHost) {
  const auto player = playingFiles("A");
  files_->last().beginInterruption();
  EXPECT_THAT(journal_.take(),
              ElementsAre("log: ---> AudioPlayer Begin Interruption.", "KWAudioPlayer_PLAYER_INTERRUPTION"));
  files_->last().endInterruption();
  EXPECT_THAT(journal_.take(), ElementsAre("log: ---> AudioPlayer End Interruption.",
                                           "KWAudioPlayer_PLAYER_INTERRUPTION_END"));
  files_->last().endInterruption(1);
  EXPECT_THAT(journal_.take(), ElementsAre("log: ---> AudioPlayer End Interruption Flag: 1",
                                           "KWAudioPlayer_PLAYER_INTERRUPTION_END_FLAG 1"));
  EXPECT_EQ(player->mState(), 1u);
}

}  // namespace
}  // namespace vantrel::testing
