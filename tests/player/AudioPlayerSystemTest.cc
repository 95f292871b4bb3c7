// The phone around the player.

#include <cmath>

#include "tests/player/PlayerScenes.h"

namespace vantrel::testing {
namespace {

class AudioPlayerSystem : public PlayerScenes {
 protected:
  std::string shownOnScreen(const char* key) {
    player_->setLockScreenNowPlayingInfo();
    return shown(center_->info()[key]);
  }
};

TEST_F(AudioPlayerSystem, TellsWhatItDoes) {
  const std::string continued = "log: didContinue, A: play, KW_AU_NOTE KW_CONTINUE, log: didContinue Do 0, ";
  const auto step = [&](const std::string& from, const std::string& to) {
    return "log: did play volume:0.50, " + from + ": stop, log: KWAudioPlayer " + to + ".mp3 size:1, " + to +
           ": volume 0.5, " + to + ": metering, " + to + ": prepare, " + to +
           ": play, KW_AU_NOTE KW_PLAY, KW_UPDATE";
  };
  expectScenes({{
      {"files:A play:0 | remote:101",
       "log: didPause, A: pause, KW_AU_NOTE KW_PAUSE, log: Remote Event: Pause.", "paused A@0 [] (paused)"},
      {"files:A play:0 pause | remote:100", continued + "log: Remote Event: Play.",
       "playing A@0 [A] (playing)"},
      {"files:AB play:0 | remote:104", step("A", "B") + ", log: Remote Event: Next.",
       "playing B@1 [AB] (playing)"},
      {"files:AB play:1 | remote:105", step("B", "A") + ", log: Remote Event: Previous.",
       "playing A@0 [AB] (playing)"},
      {"files:A mode:3 play:0 stop | remote:100", continued + "log: Remote Event: Play.",
       "playing A@0 [A] (playing)"},
      {"files:A play:0 | remote:0 remote:99 remote:102 remote:103 remote:106 remote:107", "",
       "playing A@0 [A] (playing)"},
      {"| remote:100 remote:101 remote:104 remote:105",
       "log: Remote Event: Play., log: Remote Event: Pause., log: Remote Event: Next., "
       "log: Remote Event: Previous.",
       "(stopped)"},
      {"files:A play:0 | interrupt",
       "log: ---> AudioPlayer Begin Interruption., KWAudioPlayer_PLAYER_INTERRUPTION",
       "playing A@0 [A] (playing)"},
      {"files:A play:0 | give-back",
       "log: ---> AudioPlayer End Interruption., KWAudioPlayer_PLAYER_INTERRUPTION_END",
       "playing A@0 [A] (playing)"},
      {"files:A play:0 | give-back-with:1",
       "log: ---> AudioPlayer End Interruption Flag: 1, KWAudioPlayer_PLAYER_INTERRUPTION_END_FLAG 1",
       "playing A@0 [A] (playing)"},
      {"files:AB play:0 length:0 | show-progress", "log: A.mp3 music duration is 0., " + step("A", "B"),
       "playing B@1 [AB] (playing)"},
      {"files:A mode:4 length:0 no-entry | show-progress", "log: (null) music duration is 0.",
       "stopped -@0 [] (stopped)"},
  }});
}

TEST_F(AudioPlayerSystem, IgnoresEventsThatAreNoRemoteCommands) {
  script_.run("files:A play:0");
  journal_.take();
  for (const std::int64_t subtype : {100, 101, 104, 105}) {
    for (const std::int64_t type : {0, 1, 3}) KWAudioPlayer::receiveRemoteEvent({type, subtype});
  }
  EXPECT_EQ(told(), "");
}

TEST_F(AudioPlayerSystem, ReplaysOnAPlayCommandOnlyAStoppedStreamOfListOnce) {
  for (const char* state :
       {"mode:3 state:0", "mode:3 state:2", "mode:3 state:1", "mode:0 state:0", "mode:2 state:0"}) {
    forget();
    const std::string lines = toldBy("streams:A play:0 " + std::string(state) + " | remote:100");
    const bool replays = std::string_view(state) == "mode:3 state:0";
    EXPECT_TRUE(lines.starts_with(replays ? "log: did play" : "log: didContinue")) << state << lines;
    EXPECT_TRUE(lines.ends_with("log: Remote Event: Play.")) << lines;
  }
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

TEST_F(AudioPlayerSystem, ShowsWhatIsUnknownAsUnknow) {
  script_.run("files:A");  // shown before it plays
  EXPECT_EQ(shown(center_->info()["MPMediaItemPropertyTitle"]), "A.mp3");
  EXPECT_EQ(shown(center_->info()["MPMediaItemPropertyArtist"]), "Unknow Artist");
  EXPECT_EQ(shown(center_->info()["MPMediaItemPropertyAlbumTitle"]), "Unknow Album");
  EXPECT_FALSE(center_->artwork());
  script_.run("no-entry no-player");
  EXPECT_EQ(shownOnScreen("MPMediaItemPropertyTitle"), "Unknow Music");
  EXPECT_EQ(shownOnScreen("MPMediaItemPropertyPlaybackDuration"), "0");
}

TEST_F(AudioPlayerSystem, ShowsAStreamWithItsPositionAndLengthAsFloats) {
  script_.run("streams:A");
  EXPECT_EQ(shownOnScreen("MPNowPlayingInfoPropertyElapsedPlaybackTime"), "0");
  script_.run("play:0 ready:90.1 tick:1.1");
  EXPECT_EQ(shownOnScreen("MPMediaItemPropertyTitle"), "A");
  EXPECT_EQ(center_->info()["MPMediaItemPropertyPlaybackDuration"], ValueTree(double{90.1f}));
  EXPECT_EQ(center_->info()["MPNowPlayingInfoPropertyElapsedPlaybackTime"], ValueTree(double{1.1f}));
  player_->mNetPlayer()->setMSongItem(std::nullopt);
  EXPECT_EQ(shownOnScreen("MPMediaItemPropertyPlaybackDuration"), "0");
}

TEST_F(AudioPlayerSystem, PlaysOnAHostWithoutFilePlayersAndPlayingScreen) {
  const auto list = fileList("A");
  auto files = std::exchange(files_, nullptr);
  const auto screen = std::exchange(center_, nullptr);
  install();
  player_ = KWAudioPlayer::sharedMeByPaths(list);
  script_.run("play:0 pause continue");
  EXPECT_EQ(standing(), "playing A@0 [A] (playing)");
  EXPECT_FALSE(player_->mPlayer());
  EXPECT_EQ(screen->updates(), 0);
  script_.run("stop");
  files_ = files;
}

// ---- volume

TEST_F(AudioPlayerSystem, ReadsTheVolumeOfThePlayerThatPlays) {
  const struct {
    float system;
    const char* script;
    float player;
  } steps[] = {{0.25f, "", 0},
               {0.25f, "library:A play:0", 0.25f},
               {0.75f, "files:B play:0", 0.75f},
               {0.75f, "files: no-player", 0},
               {0.75f, "streams:C play:0", 1},
               {0.75f, "play:0", 0.75f}};
  for (const auto& [system, script, volume] : steps) {
    session_->setOutputVolume(system);
    script_.run(script);
    EXPECT_EQ(KWAudioPlayer::getPhoneVolume(), system) << script;
    EXPECT_EQ(KWAudioPlayer::getPlayerVolume(), volume) << script;
  }
}

TEST_F(AudioPlayerSystem, SetsTheVolumeOfItsPlayersAndOfTheSystem) {
  script_.run("files:A play:0");
  const auto files = player_->mPlayer();
  player_->setPhoneVolume(0.2f);
  EXPECT_EQ(session_->outputVolume(), 0.2f);
  script_.run("streams:B");
  player_->setPhoneVolume(0.3f);
  script_.run("play:0");
  player_->setPhoneVolume(0.4f);
  EXPECT_EQ(player_->mNetPlayer()->getVolume(), 0.4f);
  EXPECT_EQ(session_->outputVolume(), 0.4f);
  EXPECT_EQ(files->volume(), 0.2f);
}

TEST_F(AudioPlayerSystem, TellsChangesOfTheSystemVolumeAsLongAsItLives) {
  constexpr const char* kKey = "AVSystemController_AudioVolumeNotificationParameter";
  const ValueTree loud = ValueTree::dictionary({{kKey, 0.125}});
  const ValueTree other = ValueTree::dictionary({{"other", 1.0}});
  const ValueTree text = ValueTree::dictionary({{kKey, "loud"}});
  script_.run("own-files:");
  for (const ValueTree* info : {&loud, &other, &text, static_cast<const ValueTree*>(nullptr)}) {
    FakeAudioSession::postChange(info);
    EXPECT_THAT(journal_.take(),
                ::testing::Contains(info == &loud ? "KW_AU_VOLUME_CHANGE 0.125" : "KW_AU_VOLUME_CHANGE 0"));
  }
  player_.reset();
  FakeAudioSession::postChange(&loud);
  EXPECT_EQ(told(), "AVSystemController_SystemVolumeDidChangeNotification");
}

// ---- progress

TEST_F(AudioPlayerSystem, ShowsProgressOnceASecondWhileItPlays) {
  script_.run("own-files:AB play:0 length:200.9 move-to:65.4");
  const std::string line = "KW_AU_PROGRESS {TIME_NOW=01:05 TIME_END=03:20 PROGRESS=0.3255}";
  EXPECT_EQ(toldBy("| wait:0.75"), "");
  EXPECT_EQ(toldBy("| wait:1.25"), line + ", " + line);
  EXPECT_EQ(stored("KW_AUDIO_PLAYPROGRESS"), "0.33");
  const auto timer = player_->pTimer();
  for (const char* end : {"pause | wait:10", "stop | wait:10", "mode:4 finish | wait:10"}) {
    EXPECT_EQ(toldBy(end), "") << "suspended";
    EXPECT_EQ(toldBy("continue | turn"), line) << "at once";
    EXPECT_EQ(toldBy("| wait:1"), line);
  }
  EXPECT_EQ(player_->pTimer(), timer);
  player_.reset();
  EXPECT_FALSE(timer->valid());
  EXPECT_EQ(toldBy("| wait:3"), "");
}

TEST_F(AudioPlayerSystem, ReportsTheElapsedFractionInFloatArithmetic) {
  script_.run("files:A play:0");
  double told = -1;
  const auto listening = NotificationBus::shared().add("KW_AU_PROGRESS", [&](const Notification& event) {
    told = (*event.object)["PROGRESS"].asDouble().value_or(-1);
  });
  for (const auto& [now, end] : {std::pair(65.4, 200.9), {1.0 / 3, 1e9 / 7}, {200.9, 200.9}, {0.0, 1.0}}) {
    files_->last().setDuration(end);
    files_->last().moveTo(now);
    player_->progressShow();
    EXPECT_EQ(told, static_cast<double>(static_cast<float>(static_cast<float>(now) / end)));
  }
}

TEST_F(AudioPlayerSystem, ShowsLengthsThatAreNoLengthsInAnOrderlyWay) {
  using ::testing::StartsWith;
  EXPECT_THAT(toldBy("files:A play:0 length:nan move-to:3 | show-progress"),
              StartsWith("KW_AU_PROGRESS {TIME_NOW=00:03 TIME_END=00:00 PROGRESS="));
  EXPECT_EQ(stored("KW_AUDIO_PLAYPROGRESS"), "nan");
  EXPECT_THAT(toldBy("length:1e300 move-to:-1e300 | show-progress"),
              StartsWith("KW_AU_PROGRESS {TIME_NOW=00:00 TIME_END=1193046:28:15"));
}

// ---- levels

TEST_F(AudioPlayerSystem, DerivesTheRhythmFromTheLevelsOfTwoChannels) {
  const auto player = KWAudioPlayer::sharedMe_1();
  EXPECT_FALSE(player->didRhythmData());
  // -20 dB is level 3276, 0x0CCC: 12 - 52 = -40 in signed bytes. -80 dB is level 3.
  const std::pair<std::vector<float>, std::int32_t> cases[] = {
      {{0}, 2520},      {{0, 0}, 5040},    {{0, 0, 0}, 5040}, {{}, 0},         {{-20}, -800},
      {{-20, 0}, 1720}, {{-160, -80}, 60}, {{NAN, NAN}, 0},   {{-INFINITY}, 0}};
  for (const auto& [decibels, rhythm] : cases) {
    files_->put("url", {.decibels = decibels});
    player->setMPlayer(*files_->openUrl("url"));
    player->mPlayer()->setMeteringEnabled(true);
    std::vector<std::uint8_t> bytes;
    for (const int shift : {0, 8, 16, 24}) {
      bytes.push_back(static_cast<std::uint8_t>(static_cast<std::uint32_t>(rhythm) >> shift));
    }
    EXPECT_EQ(player->didRhythmData(), Bytes(bytes)) << rhythm;
  }
  files_->put("url", {.decibels = {1000, 1000}});
  player->setMPlayer(*files_->openUrl("url"));
  player->mPlayer()->setMeteringEnabled(true);
  EXPECT_EQ(player->didRhythmData()->size(), 4u) << "far above full scale";
}

}  // namespace
}  // namespace vantrel::testing
