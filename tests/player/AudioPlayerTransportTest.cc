// Playing, pausing, stepping, the end of a track, and the pause of all players.

#include "tests/player/PlayerScenes.h"

namespace vantrel::testing {
namespace {

using AudioPlayerTransport = PlayerScenes;

constexpr const char* kContinued = "A: play, KW_AU_NOTE KW_CONTINUE, log: didContinue Do 0";

TEST_F(AudioPlayerTransport, TellsWhatItDoes) {
  const std::string start = "log: did play volume:0.50, ";
  const std::string startsA =
      start +
      "A: stop, log: KWAudioPlayer A.mp3 size:1, A: volume 0.5, A: metering, A: prepare, A: play, "
      "KW_AU_NOTE KW_PLAY, KW_UPDATE";
  const std::string startsX = "log: KWAudioPlayer x.mp3 size:0, KW_AU_NOTE KW_PLAY, KW_UPDATE";
  const std::string paused = "log: didPause, A: pause, KW_AU_NOTE KW_PAUSE";
  expectScenes({{
      {"library:AB | play:1",
       start + "url-A: stop, url-B: volume 0.5, url-B: metering, url-B: prepare, url-B: play, "
               "KW_AU_NOTE KW_PLAY, KW_UPDATE",
       "playing B@1 [B] (playing)"},
      {"files:A | play:0", startsA, "playing A@0 [A] (playing)"},
      {"files:AB play:0 play:1 | turn", "KW_AU_PROGRESS {TIME_NOW=00:00 TIME_END=03:20 PROGRESS=0}",
       "playing B@1 [AB] (playing)"},
      {"files:A play:0 | pause", paused, "paused A@0 [] (paused)"},
      {"files:A play:0 pause | continue", std::string("log: didContinue, ") + kContinued,
       "playing A@0 [A] (playing)"},
      {"files:AB index:2 | pause", paused, "paused -@2 [] (paused)"},
      {"files:AB index:2 pause | continue", std::string("log: didContinue, ") + kContinued,
       "playing -@2 [] (playing)"},
      {"files:A play:0 | stop", "log: didStop, A: stop", "stopped A@0 [] (paused)"},
      {"files:AB mode:3 play:1 | finish wait:5", "KW_AU_NOTE KW_FINISH", "stopped B@1 [] (playing)"},
      {"files:AB mode:3 play:0 no-list | finish", "KW_AU_NOTE KW_FINISH", "stopped -@0 [] (playing)"},
      {"files:AB mode:4 play:1 | next before finish", "", "stopped B@1 [B] (playing)"},
      {"files:A play:0 | fail-decoding",
       "KW_AU_NOTE KW_ERROR, log: didStop, A: stop, " + start + startsA.substr(start.size() + 9),
       "playing A@0 [A] (playing)"},
      {"files:A mode:4 play:0 | fail-decoding", "KW_AU_NOTE KW_ERROR, log: didStop, A: stop",
       "stopped A@0 [] (paused)"},
      {"files:x | play:0 wait:0.75", start + startsX, "playing x@0 [x] (playing)"},
      {"files:x play:0 wait:0.75 | wait:0.5", "log: x.mp3 music duration is 0., " + start + startsX,
       "playing x@0 [x] (playing)"},
  }});
}

TEST_F(AudioPlayerTransport, PausesAllPlayersAndResumesTheOneThatPlayed) {
  const std::string pausesA = "A: pause, KW_AU_NOTE KW_PAUSE";
  expectScenes({{
      {"library:L files:A play:0 | pause-last",
       "log: didPauseLast, log: disSubPause, url-L: pause, KW_AU_NOTE KW_PAUSE, " + pausesA,
       "paused A@0 [] (playing)"},
      {"library:L files:A play:0 pause-last | continue-last",
       std::string("log: didContinueLast, log: didContinue, ") + kContinued, "playing A@0 [A] (playing)"},
      {"files:A play:0 pause pause-last | continue-last", "", "paused A@0 [] (paused)"},
      {"library:A play:0 stop | pause-last", "log: didPauseLast, log: disSubPause, url-" + pausesA,
       "paused A@0 [] (stopped)"},
      {"streams:S play:0 | pause-last",
       "log: didPauseLast, log: disSubPause, stream: pause, log: NetPlayer state :2, KW_AU_NOTE KW_PAUSE",
       "paused S@0 [] (paused)"},
      {"| continue-last pause-last pause-all", "log: didPauseLast, log: disSubPause, log: didAllPause",
       "(stopped)"},
      {"files:A pause state:1 | pause-last", "log: didPauseLast, log: disSubPause, " + pausesA,
       "paused A@0 [] (paused)"},
      {"own-files:A play:0 | pause-last", "log: didPauseLast, log: disSubPause", "playing A@0 [A] (stopped)"},
      {"library:L streams:S files:A play:0 | pause-all continue-last",
       "log: didAllPause, log: didPause, url-L: pause, KW_AU_NOTE KW_PAUSE, log: didPause, " + pausesA +
           ", log: didPause, log: NetPlayer state :2, KW_AU_NOTE KW_PAUSE",
       "paused A@0 [] (paused)"},
  }});
}

TEST_F(AudioPlayerTransport, StartsTheEntryThatEachStepLeadsTo) {
  const struct {
    const char *script, *started;
  } walks[] = {{"files:ABC play:-1 play:3 play:1 play:99 play:-99", "CABAC"},
               {"files:ABC mode:0 play:2 next before before repeat", "CACBB"},
               {"files:ABC mode:1 play:2 next before before repeat", "CACBB"},
               {"files:ABC mode:3 play:2 next before before repeat", "CACBB"},
               {"files:ABC no-entry next no-entry before", "BC"},
               {"files:A play:0 before next repeat mode:2 before next repeat", "AAAAAAA"},
               {"files:AB mode:0 play:0 finish turn break-off turn", "ABA"},
               {"files:AB mode:1 play:1 finish turn break-off turn", "BBB"},
               {"files:AB mode:2 play:0 finish turn break-off turn", "ABA"},
               {"files:AB mode:3 play:0 break-off turn finish turn", "AB"},
               {"files:ABC entry-index:9223372036854775807 next", "A"},
               {"files:ABC entry-index:-9223372036854775808 before", "C"},
               {"files:ABC play:9223372036854775807 play:-9223372036854775808", "AC"},
               {"files:xyz play:0 wait:10 pause wait:10", "xyzxyzxyzxy"},
               {"files: play:0 next before repeat", ""},
               {"streams: play:0 next before repeat", ""},
               {"streams:AB stream-list: play:0 next before repeat", ""},
               {"streams:AB play:0 next next before", "ABAB"}};
  for (const auto& [script, started] : walks) {
    forget();
    EXPECT_EQ(startedBy(script), started) << script;
    turn();
    EXPECT_LE(files_->alive().size(), 1u) << script;
  }
}

TEST_F(AudioPlayerTransport, PlaysEveryEntryOnceBeforeTheShuffledOrderComesAround) {
  EXPECT_EQ(startedBy("files:ABCDEFGH mode:2 play:3"), "D");
  const auto order = player_->mRandomList();
  auto at = static_cast<std::size_t>(player_->mRandomIndex());
  EXPECT_EQ(order[at], 3);
  for (const std::size_t step : {std::size_t{1}, order.size() - 1}) {
    for (std::size_t times = 0; times < order.size(); ++times) {
      script_.run(step == 1 ? "next" : "before");
      at = (at + step) % order.size();
      EXPECT_EQ(player_->play_index(), order[at]);
    }
  }
  EXPECT_EQ(player_->mRandomList(), order);
}

TEST_F(AudioPlayerTransport, MakesThePlayerThatStartsOrResumesTheCurrentOne) {
  for (const char* script :
       {"library:A files:B streams:C play:0", "files:B library:A continue", "library:A files:B play:0",
        "library:A play:0 files:B continue", "library:A play:0 files:B play:0 streams:C continue"}) {
    forget();
    script_.run(script);
    EXPECT_EQ(KWAudioPlayer::currentPlayer(), player_) << script;
    EXPECT_EQ(KWAudioPlayer::currentType(), player_->mType()) << script;
  }
}

TEST_F(AudioPlayerTransport, ResumesItsTimerWhenPausedAndResumedFromInsideATick) {
  script_.run("files:A play:0");
  bool once = true;
  const auto listening = NotificationBus::shared().add("KW_AU_PROGRESS", [&](const Notification&) {
    if (std::exchange(once, false)) script_.run("pause continue");
  });
  EXPECT_THAT(toldBy("wait:1 | wait:1"), ::testing::StartsWith("KW_AU_PROGRESS"));
}

TEST_F(AudioPlayerTransport, DoesNotHearAPlayerThatWasReplaced) {
  script_.run("files:AB play:0");
  const auto earlier = player_->mPlayer();
  script_.run("play:1");
  auto& late = static_cast<FakeFilePlayer&>(*earlier);
  EXPECT_EQ(late.stops(), 1);
  journal_.take();
  late.finish();
  late.failDecoding();
  late.beginInterruption();
  EXPECT_EQ(told(), "");
  EXPECT_EQ(player_->mState(), 1u);
}

TEST_F(AudioPlayerTransport, MayBeLetGoFromInsideItsEvents) {
  const char* const events[] = {"play:1", "pause",   "continue", "finish", "fail-decoding",
                                "empty",  "keep-up", "tick:1",   "load:1", "end"};
  for (std::size_t at = 0; at < std::size(events); ++at) {
    script_.run(at < 5 ? "own-files:AB play:0" : "own-streams:AB play:0");
    const std::weak_ptr<KWAudioPlayer> weak = player_;
    const auto letGo = NotificationBus::shared().addForAll([&](const Notification& event) {
      if (event.name.starts_with("KW_")) player_.reset();
    });
    script_.run(events[at]);
    EXPECT_TRUE(weak.expired()) << events[at];
    advance(3);
    EXPECT_TRUE(files_->alive().empty() && streams_->alive().empty()) << events[at];
  }
}

}  // namespace
}  // namespace vantrel::testing
