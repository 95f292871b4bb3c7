// The player over streams.

#include "tests/player/PlayerScenes.h"

namespace vantrel::testing {
namespace {

using AudioPlayerStreams = PlayerScenes;

TEST_F(AudioPlayerStreams, TellsWhatItDoes) {
  const std::string start = "log: did play volume:0.50, log: url ===> http://host/";
  const std::string plays = "log: NetPlayer state :1, KW_AU_NOTE KW_PLAY";
  const std::string pauses = "log: NetPlayer state :2, KW_AU_NOTE KW_PAUSE";
  const std::string ends = "log: KWNetplayer finished., log: NetPlayer state :3, ";
  expectScenes({{
      {"streams:A | play:0", start + "A, stream: open http://host/A, KW_UPDATE", "paused A@0 [A] (playing)"},
      {"streams:A play:0 ready:100 load:100 | keep-up",
       "log: KWNetPlayer did play ，have all buffer., stream: play, " + plays, "playing A@0 [A] (playing)"},
      {"streams:A play:0 ready keep-up | wait:3",
       "log: KWNetPlayer try to play ，however not enough buffer., stream: play, " + plays,
       "playing A@0 [A] (playing)"},
      {"streams:A play:0 | continue", "log: didContinue, stream: play, " + plays + ", log: didContinue Do 1",
       "playing A@0 [A] (playing)"},
      {"streams:A play:0 continue | pause", "log: didPause, stream: pause, " + pauses,
       "paused A@0 [] (paused)"},
      {"streams:A play:0 continue pause | stop", "log: didStop, stream: pause, log: NetPlayer state :3",
       "stopped A@0 [] (paused)"},
      {"streams:A play:0 ready:100 wait:0.5 | load:5", "KW_AU_NET_SPEED 0.1, KW_AU_NET_TIMEGAP 0.5",
       "paused A@0 [A] (playing)"},
      {"streams:AB play:0 continue | end",
       ends + start +
           "B, stream: pause, stream: open http://host/B, KW_UPDATE, "
           "AVPlayerItemDidPlayToEndTimeNotification",
       "paused B@1 [AB] (playing)"},
      {"streams:A mode:3 play:0 continue | end",
       ends + "KW_AU_NOTE KW_FINISH, AVPlayerItemDidPlayToEndTimeNotification", "stopped A@0 [] (playing)"},
      {"streams:A play:0 state:9 | status:0", "log: NetPlayer state :0, KW_AU_NOTE KW_PAUSE",
       "paused A@0 [A] (playing)"},
      {"streams:A play:0 state:9 | status:1", plays, "playing A@0 [A] (playing)"},
      {"streams:A play:0 state:9 | status:2", pauses, "paused A@0 [A] (playing)"},
      {"streams:A play:0 continue state:9 | status:3", "log: NetPlayer state :3",
       "stopped A@0 [A] (playing)"},
      {"streams:A play:0 state:9 | status:4", "log: NetPlayer state :4", "odd A@0 [A] (playing)"},
  }});
  EXPECT_FALSE(player_->pTimer());
}

TEST_F(AudioPlayerStreams, ReportsProgressInWholeSeconds) {
  const struct {
    const char *script, *told, *kept;
  } cases[] = {{"ready:199.9 | tick:65.9", "TIME_NOW=01:05 TIME_END=03:19 PROGRESS=0.3266", "0.33"},
               {"| tick:5", "TIME_NOW=00:05 TIME_END=00:00 PROGRESS=inf", "inf"},
               {"| tick:0.5", "TIME_NOW=00:00 TIME_END=00:00 PROGRESS=.*nan", "nan"}};
  for (const auto& [script, told, kept] : cases) {
    forget();
    script_.run("streams:A play:0");
    EXPECT_THAT(toldBy(script), ::testing::MatchesRegex("KW_AU_PROGRESS ." + std::string(told) + "."))
        << script;
    EXPECT_EQ(stored("KW_AUDIO_PLAYPROGRESS"), kept) << script;
  }
}

TEST_F(AudioPlayerStreams, TakesTheVolumeOfTheSystemForTheNextStream) {
  script_.run("streams:AB play:0 next");
  EXPECT_EQ(stream().volume(), 0.5f);
}

TEST_F(AudioPlayerStreams, PausesForAnEntryWithoutAddress) {
  script_.run("streams:A");
  player_->mNowItem()->setMUrl("100%zz");
  EXPECT_EQ(toldBy("play:0 | turn"), "log: NetPlayer state :2, KW_AU_NOTE KW_PAUSE");
  EXPECT_EQ(standing(), "paused A@0 [A] (playing)");
}

TEST_F(AudioPlayerStreams, DoesNotHearAStreamPlayerThatOutlivesIt) {
  script_.run("own-streams:A play:0");
  const auto net = player_->mNetPlayer();
  player_.reset();
  EXPECT_EQ(net->delegate(), nullptr);
  EXPECT_EQ(toldBy("| end"), "log: KWNetplayer finished., AVPlayerItemDidPlayToEndTimeNotification");
}

TEST_F(AudioPlayerStreams, ToleratesHavingNoStreamPlayer) {
  script_.run("streams:AB play:0");
  const auto net = player_->mNetPlayer();
  player_->setMNetPlayer(nullptr);
  EXPECT_EQ(net->delegate(), nullptr);
  script_.run("play:1 continue pause stop");
  player_->setPhoneVolume(0.5f);
  player_->setLockScreenNowPlayingInfo();
  EXPECT_EQ(standing(), "paused B@1 [A] (paused)");
  EXPECT_EQ(KWAudioPlayer::getPlayerVolume(), 0);
}

}  // namespace
}  // namespace vantrel::testing
