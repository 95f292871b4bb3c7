// Playing, pausing, stepping, the end of a track, and the pause of all players.

#include <set>

#include "tests/player/PlayerFixture.h"
#include "vantrel/player/detail/PlayerRegistry.h"

namespace vantrel::testing {
namespace {

class AudioPlayerTransport : public PlayerFixture {
 protected:
  /// The file player with this list, and nothing told yet.
  std::shared_ptr<KWAudioPlayer> withFiles(const std::string& names) {
    auto player = KWAudioPlayer::sharedMeByPaths(fileList(names));
    journal_.take();
    return player;
  }
  std::string playing() const { return files_->last().source(); }

  std::shared_ptr<FakeFilePlayers> none_;
};

TEST_F(AudioPlayerTransport, PlaysASongOfTheLibraryStepByStep) {
  addSongs("AB");
  const auto player = KWAudioPlayer::sharedMe();
  journal_.take();
  player->didPlay(1);
  EXPECT_THAT(journal_.take(),
              ElementsAre("log: did play volume:0.50", "url-A: stop", "url-B: volume 0.5", "url-B: metering",
                          "url-B: prepare", "url-B: play", "KW_AU_NOTE KW_PLAY", "KW_UPDATE"));
  EXPECT_EQ(player->mState(), 1u);
  EXPECT_EQ(player->play_index(), 1);
  EXPECT_EQ(KWAudioPlayer::currentType(), 0u);
  EXPECT_EQ(KWAudioPlayer::didLastState(), 1u);
  EXPECT_TRUE(player->mNowItem()->isPlaying());
  EXPECT_TRUE(files_->last().metering());
  EXPECT_EQ(files_->alive().size(), 1u);
  EXPECT_EQ(stored("KW_AUDIO_PLAYINDEX"), "1");
}

TEST_F(AudioPlayerTransport, PlaysAFileFromItsBytesAndLogsItsSize) {
  const auto player = KWAudioPlayer::sharedMeByPaths(fileList("AB"));
  journal_.take();
  player->didPlay(1);
  EXPECT_THAT(journal_.take(), ElementsAre("log: did play volume:0.50", "A: stop",
                                           "log: KWAudioPlayer B.mp3 size:1", "B: volume 0.5", "B: metering",
                                           "B: prepare", "B: play", "KW_AU_NOTE KW_PLAY", "KW_UPDATE"));
  EXPECT_EQ(KWAudioPlayer::currentType(), 1u);
  EXPECT_EQ(KWAudioPlayer::currentPlayer(), player);
}

TEST_F(AudioPlayerTransport, TakesAnIndexBelowTheListAsTheLastAndOneAboveAsTheFirst) {
  const auto player = withFiles("ABC");
  const std::pair<std::int64_t, const char*> cases[] = {{-1, "C"}, {3, "A"}, {1, "B"}, {99, "A"}, {-99, "C"}};
  for (const auto& [index, source] : cases) {
    player->didPlay(index);
    EXPECT_EQ(playing(), source) << index;
  }
}

TEST_F(AudioPlayerTransport, StepsThroughTheListWithAWrapInEveryOrderedMode) {
  const auto player = withFiles("ABC");
  for (const std::uint64_t mode : {0, 1, 3}) {
    player->setMMode(mode);
    player->didPlay(2);
    player->didNext();
    EXPECT_EQ(playing(), "A");
    player->didBefore();
    EXPECT_EQ(playing(), "C");
    player->didBefore();
    EXPECT_EQ(playing(), "B");
    player->didRepeat();
    EXPECT_EQ(playing(), "B");
  }
}

TEST_F(AudioPlayerTransport, StepsToTheSecondEntryWhenThereIsNoCurrentOne) {
  const auto player = withFiles("ABC");
  player->setMNowItem(nullptr);
  player->didNext();
  EXPECT_EQ(playing(), "B");
  player->setMNowItem(nullptr);
  player->didBefore();
  EXPECT_EQ(playing(), "C");
}

TEST_F(AudioPlayerTransport, PlaysEveryEntryOnceBeforeTheShuffledOrderComesAround) {
  const auto player = withFiles("ABCDEFGH");
  player->setMMode(2);
  player->didPlay(3);
  const auto order = player->mRandomList();
  auto at = static_cast<std::size_t>(player->mRandomIndex());
  EXPECT_EQ(order[at], 3);
  std::set<std::int64_t> played;
  for (std::size_t step = 0; step < order.size(); ++step) {
    player->didNext();
    at = (at + 1) % order.size();
    EXPECT_EQ(player->play_index(), order[at]);
    played.insert(player->play_index());
  }
  EXPECT_EQ(played.size(), order.size());
  for (std::size_t step = 0; step < order.size(); ++step) {
    player->didBefore();
    at = (at + order.size() - 1) % order.size();
    EXPECT_EQ(player->play_index(), order[at]);
  }
  EXPECT_EQ(player->mRandomList(), order);
}

TEST_F(AudioPlayerTransport, DoesNotStepInAnUnknownMode) {
  const auto player = withFiles("ABC");
  player->didPlay(1);
  player->setMMode(4);
  journal_.take();
  player->didNext();
  player->didBefore();
  EXPECT_THAT(journal_.take(), IsEmpty());
  files_->last().finish();
  EXPECT_EQ(player->mState(), 0u);
  EXPECT_EQ(playing(), "B");
}

TEST_F(AudioPlayerTransport, PausesAndResumes) {
  const auto player = withFiles("A");
  player->didPlay(0);
  const auto entry = player->mNowItem();
  journal_.take();
  player->didPause();
  EXPECT_THAT(journal_.take(), ElementsAre("log: didPause", "A: pause", "KW_AU_NOTE KW_PAUSE"));
  EXPECT_EQ(player->mState(), 2u);
  EXPECT_EQ(KWAudioPlayer::didLastState(), 2u);
  EXPECT_FALSE(entry->isPlaying());
  player->didContinue();
  EXPECT_THAT(journal_.take(),
              ElementsAre("log: didContinue", "A: play", "KW_AU_NOTE KW_CONTINUE", "log: didContinue Do 0"));
  EXPECT_EQ(player->mState(), 1u);
  EXPECT_EQ(KWAudioPlayer::didLastState(), 1u);
  EXPECT_TRUE(entry->isPlaying());
}

TEST_F(AudioPlayerTransport, HasNoCurrentEntryAfterAPauseWhenTheIndexHasLeftTheList) {
  const auto player = withFiles("AB");
  player->setPlay_index(2);
  player->didPause();
  EXPECT_FALSE(player->mNowItem());
  player->didContinue();
  EXPECT_FALSE(player->mNowItem());
}

TEST_F(AudioPlayerTransport, Stops) {
  const auto player = withFiles("A");
  player->didPlay(0);
  journal_.take();
  player->didStop();
  EXPECT_THAT(journal_.take(), ElementsAre("log: didStop", "A: stop"));
  EXPECT_EQ(player->mState(), 0u);
  EXPECT_EQ(KWAudioPlayer::didLastState(), 2u);
  EXPECT_FALSE(player->mNowItem()->isPlaying());
}

TEST_F(AudioPlayerTransport, KeepsTheFlagOfTheEntryThatPlayedBefore) {
  const auto player = withFiles("AB");
  player->didPlay(0);
  player->didPlay(1);
  EXPECT_TRUE((*player->mList())[0]->isPlaying());
  EXPECT_TRUE((*player->mList())[1]->isPlaying());
}

TEST_F(AudioPlayerTransport, GoesOnAtTheEndOfATrackAsTheModeSays) {
  const auto player = withFiles("AB");
  struct Case {
    std::uint64_t mode;
    std::int64_t from;
    const char* then;
  };
  for (const auto& [mode, from, then] :
       {Case{0, 0, "B"}, {0, 1, "A"}, {1, 1, "B"}, {2, 0, "B"}, {2, 1, "A"}, {3, 0, "B"}}) {
    for (const bool successfully : {true, false}) {
      player->setMMode(mode);
      player->didPlay(from);
      files_->last().finish(successfully);
      turn();
      EXPECT_EQ(playing(), then) << mode << " from " << from;
      EXPECT_TRUE(files_->last().playing());
      EXPECT_EQ(player->mState(), 1u);
      EXPECT_EQ(files_->alive().size(), 1u);
    }
  }
}

TEST_F(AudioPlayerTransport, FinishesAfterTheLastEntryOfListOnce) {
  const auto player = withFiles("AB");
  player->setMMode(3);
  player->didPlay(1);
  journal_.take();
  files_->last().finish();
  EXPECT_THAT(journal_.take(), ElementsAre("KW_AU_NOTE KW_FINISH"));
  EXPECT_EQ(player->mState(), 0u);
  EXPECT_FALSE(player->mNowItem()->isPlaying());
  advance(5);
  EXPECT_THAT(journal_.take(), IsEmpty());
}

TEST_F(AudioPlayerTransport, FinishesWhenTheCurrentEntryAndItsListAreGone) {
  const auto player = withFiles("AB");
  player->setMMode(3);
  player->didPlay(0);
  player->setMList(std::nullopt);
  journal_.take();
  EXPECT_FALSE(player->mNowItem());
  files_->last().finish();
  EXPECT_THAT(journal_.take(), ElementsAre("KW_AU_NOTE KW_FINISH"));
}

TEST_F(AudioPlayerTransport, ReportsADecodeErrorAndGoesOn) {
  const auto player = withFiles("AB");
  player->didPlay(0);
  journal_.take();
  files_->last().failDecoding();
  EXPECT_THAT(journal_.take(),
              ElementsAre("KW_AU_NOTE KW_ERROR", "log: didStop", "A: stop", "log: did play volume:0.50",
                          "log: KWAudioPlayer B.mp3 size:1", "B: volume 0.5", "B: metering", "B: prepare",
                          "B: play", "KW_AU_NOTE KW_PLAY", "KW_UPDATE"));
  turn();
  EXPECT_EQ(files_->alive().size(), 1u);
  player->setMMode(4);
  files_->last().failDecoding();
  EXPECT_FALSE(player->mPlayer());
  EXPECT_EQ(player->mState(), 0u);
}

TEST_F(AudioPlayerTransport, StepsThroughUnplayableEntriesOneASecond) {
  MusicList list;
  for (const char* name : {"lost.mp3", "also-lost.mp3", "gone.mp3"}) {
    list.push_back(entry(list.size()));
    list.back()->setMPath((folder_ / name).string());
  }
  const auto player = KWAudioPlayer::sharedMeByPaths(list);
  journal_.take();
  player->didPlay(0);
  EXPECT_THAT(journal_.take(), ElementsAre("log: did play volume:0.50", "log: KWAudioPlayer lost.mp3 size:0",
                                           "KW_AU_NOTE KW_PLAY", "KW_UPDATE"));
  EXPECT_EQ(player->mState(), 1u);
  advance(0.75);
  EXPECT_THAT(journal_.take(), IsEmpty());
  advance(0.5);
  EXPECT_THAT(journal_.take(),
              ElementsAre("log: lost.mp3 music duration is 0.", "log: did play volume:0.50",
                          "log: KWAudioPlayer also-lost.mp3 size:0", "KW_AU_NOTE KW_PLAY", "KW_UPDATE"));
  const int opened = center_->updates();
  advance(10);
  EXPECT_EQ(center_->updates(), opened + 10);
  player->didPause();
  advance(10);
  EXPECT_EQ(center_->updates(), opened + 10);
}

TEST_F(AudioPlayerTransport, ResumesItsTimerWhenPausedAndResumedFromInsideATick) {
  const auto player = withFiles("A");
  player->didPlay(0);
  bool once = true;
  const auto listening = NotificationBus::shared().add("KW_AU_PROGRESS", [&](const Notification&) {
    if (!std::exchange(once, false)) return;
    player->didPause();
    player->didContinue();
  });
  journal_.take();
  advance(1);
  journal_.take();
  advance(1);
  EXPECT_THAT(journal_.take(), ::testing::Contains(::testing::StartsWith("KW_AU_PROGRESS")));
}

TEST_F(AudioPlayerTransport, DoesNotHearAPlayerThatWasReplaced) {
  const auto player = withFiles("AB");
  player->didPlay(0);
  const auto earlier = player->mPlayer();
  player->didPlay(1);
  auto& late = static_cast<FakeFilePlayer&>(*earlier);
  EXPECT_EQ(late.stops(), 1);
  journal_.take();
  late.finish();
  late.failDecoding();
  late.beginInterruption();
  EXPECT_THAT(journal_.take(), IsEmpty());
  EXPECT_EQ(player->mState(), 1u);
}

TEST_F(AudioPlayerTransport, MayBeLetGoFromInsideItsEvents) {
  using Drive = void (*)(KWAudioPlayer&, FakeFilePlayer&);
  const Drive drives[] = {[](KWAudioPlayer& p, FakeFilePlayer&) { p.didPlay(1); },
                          [](KWAudioPlayer& p, FakeFilePlayer&) { p.didPause(); },
                          [](KWAudioPlayer& p, FakeFilePlayer&) { p.didContinue(); },
                          [](KWAudioPlayer&, FakeFilePlayer& f) { f.finish(); },
                          [](KWAudioPlayer&, FakeFilePlayer& f) { f.failDecoding(); }};
  for (const Drive drive : drives) {
    auto player = KWAudioPlayer::initByPaths(fileList("AB"));
    player->didPlay(0);
    const std::weak_ptr<KWAudioPlayer> weak = player;
    const auto listening =
        NotificationBus::shared().add("KW_AU_NOTE", [&](const Notification&) { player.reset(); });
    drive(*player, files_->last());
    EXPECT_FALSE(player);
    EXPECT_TRUE(weak.expired());
    turn();
    EXPECT_TRUE(files_->alive().empty());
  }
}

TEST_F(AudioPlayerTransport, PlaysOnAHostWithoutFilePlayers) {
  const MusicList list = fileList("A");
  files_.swap(none_);
  install();
  const auto player = KWAudioPlayer::sharedMeByPaths(list);
  player->didPlay(0);
  EXPECT_EQ(player->mState(), 1u);
  EXPECT_FALSE(player->mPlayer());
  player->didPause();
  player->didContinue();
  player->didStop();
  EXPECT_EQ(player->mState(), 0u);
  files_.swap(none_);
}

// ---- all players

TEST_F(AudioPlayerTransport, PausesAllPlayersAndResumesTheOneThatPlayed) {
  addSongs("A");
  const auto library = KWAudioPlayer::sharedMe();
  const auto files = withFiles("B");
  files->didPlay(0);
  journal_.take();
  KWAudioPlayer::didPauseLast();
  EXPECT_THAT(journal_.take(), ElementsAre("log: didPauseLast", "log: disSubPause", "url-A: pause",
                                           "KW_AU_NOTE KW_PAUSE", "B: pause", "KW_AU_NOTE KW_PAUSE"));
  EXPECT_EQ(KWAudioPlayer::didLastState(), 1u);
  KWAudioPlayer::didContinueLast();
  EXPECT_THAT(journal_.take(), ElementsAre("log: didContinueLast", "log: didContinue", "B: play",
                                           "KW_AU_NOTE KW_CONTINUE", "log: didContinue Do 0"));
}

TEST_F(AudioPlayerTransport, LeavesAPlayerPausedThatWasPausedBefore) {
  const auto player = withFiles("A");
  player->didPlay(0);
  player->didPause();
  KWAudioPlayer::didPauseLast();
  EXPECT_EQ(KWAudioPlayer::didLastState(), 2u);
  journal_.take();
  KWAudioPlayer::didContinueLast();
  EXPECT_THAT(journal_.take(), IsEmpty());
}

TEST_F(AudioPlayerTransport, HasNothingToResumeAtTheStartOfTheProcess) {
  addSongs("A");
  KWAudioPlayer::didContinueLast();
  EXPECT_THAT(journal_.take(), IsEmpty());
  KWAudioPlayer::didPauseLast();
  EXPECT_THAT(journal_.take(), ElementsAre("log: didPauseLast", "log: disSubPause"));
  EXPECT_EQ(KWAudioPlayer::didLastState(), 0u);
  KWAudioPlayer::didAllPause();
  EXPECT_THAT(journal_.take(), ElementsAre("log: didAllPause"));
}

TEST_F(AudioPlayerTransport, DoesNotChangeTheRememberedStateWhenNothingHasPlayed) {
  withFiles("A")->setMState(1);
  player::detail::PlayerRegistry::shared().LAST_SATE = 2;
  KWAudioPlayer::didPauseLast();
  EXPECT_EQ(KWAudioPlayer::didLastState(), 2u);
}

TEST_F(AudioPlayerTransport, RemembersAMissingInstanceAsStopped) {
  const auto own = KWAudioPlayer::initByPaths(fileList("A"));
  own->didPlay(0);
  EXPECT_EQ(KWAudioPlayer::didLastState(), 1u);
  KWAudioPlayer::didPauseLast();
  EXPECT_EQ(KWAudioPlayer::didLastState(), 0u);
}

TEST_F(AudioPlayerTransport, PausesAllPlayersForGood) {
  const auto player = withFiles("A");
  player->didPlay(0);
  journal_.take();
  KWAudioPlayer::didAllPause();
  EXPECT_THAT(journal_.take(),
              ElementsAre("log: didAllPause", "log: didPause", "A: pause", "KW_AU_NOTE KW_PAUSE"));
  KWAudioPlayer::didContinueLast();
  EXPECT_THAT(journal_.take(), IsEmpty());
}

}  // namespace
}  // namespace vantrel::testing
