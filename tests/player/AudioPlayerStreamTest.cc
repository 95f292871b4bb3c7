// The player over streams.

#include "tests/player/PlayerFixture.h"

namespace vantrel::testing {
namespace {

class AudioPlayerStreams : public PlayerFixture {
 protected:
  /// The stream player at the first entry of this list, which has opened but not started.
  std::shared_ptr<KWAudioPlayer> opened(const std::string& names) {
    auto player = KWAudioPlayer::sharedMe_2();
    list_ = streamList(names);
    player->setNetPaths(list_);
    player->didPlay(0);
    journal_.take();
    return player;
  }
  FakeStreamPlayer& stream() { return streams_->last(); }

  MusicList list_;
};

TEST_F(AudioPlayerStreams, WaitsForTheStreamAfterPlayAndThenPlays) {
  const auto player = KWAudioPlayer::sharedMe_2();
  player->setNetPaths(streamList("A"));
  journal_.take();
  player->didPlay(0);
  EXPECT_THAT(journal_.take(), ElementsAre("log: did play volume:0.50", "log: url ===> http://host/A",
                                           "stream: open http://host/A", "KW_UPDATE"));
  EXPECT_EQ(player->mState(), 2u);
  EXPECT_FALSE(player->pTimer());
  EXPECT_TRUE(player->mNowItem()->isPlaying());
  EXPECT_EQ(KWAudioPlayer::currentType(), 2u);
  stream().becomeReady({100, 1});
  stream().load({{0, 100}});
  journal_.take();
  stream().keepUp();
  EXPECT_THAT(journal_.take(), ElementsAre("log: KWNetPlayer did play ，have all buffer.", "stream: play",
                                           "log: NetPlayer state :1", "KW_AU_NOTE KW_PLAY"));
  EXPECT_EQ(player->mState(), 1u);
}

TEST_F(AudioPlayerStreams, FollowsTheStatusOfTheStream) {
  const auto player = opened("A");
  struct Case {
    std::uint64_t status, state;
    std::vector<std::string> told;
  };
  for (const auto& [status, state, told] : {Case{0, 2, {"log: NetPlayer state :0", "KW_AU_NOTE KW_PAUSE"}},
                                            {1, 1, {"log: NetPlayer state :1", "KW_AU_NOTE KW_PLAY"}},
                                            {2, 2, {"log: NetPlayer state :2", "KW_AU_NOTE KW_PAUSE"}},
                                            {3, 0, {"log: NetPlayer state :3"}},
                                            {4, 9, {"log: NetPlayer state :4"}}}) {
    player->setMState(9);
    player->mNetPlayer()->delegateOutStatus(status);
    EXPECT_EQ(player->mState(), state);
    EXPECT_EQ(journal_.take(), told);
  }
}

TEST_F(AudioPlayerStreams, ResumesWithPlayAndNeverWithContinue) {
  const auto player = opened("A");
  player->didContinue();
  EXPECT_THAT(journal_.take(), ElementsAre("log: didContinue", "stream: play", "log: NetPlayer state :1",
                                           "KW_AU_NOTE KW_PLAY", "log: didContinue Do 1"));
  EXPECT_EQ(player->mState(), 1u);
  player->didPause();
  EXPECT_THAT(journal_.take(), ElementsAre("log: didPause", "stream: pause", "log: NetPlayer state :2",
                                           "KW_AU_NOTE KW_PAUSE"));
  EXPECT_EQ(player->mState(), 2u);
  EXPECT_FALSE(player->mNowItem()->isPlaying());
  player->didStop();
  EXPECT_THAT(journal_.take(), ElementsAre("log: didStop", "stream: pause", "log: NetPlayer state :3"));
  EXPECT_EQ(player->mState(), 0u);
}

TEST_F(AudioPlayerStreams, ReportsProgressInWholeSeconds) {
  opened("A");
  stream().becomeReady({199'900, 1'000});
  journal_.take();
  stream().tick(65.9);
  EXPECT_THAT(journal_.take(), ElementsAre("KW_AU_PROGRESS {TIME_NOW=01:05 TIME_END=03:19 PROGRESS=0.3266}"));
  EXPECT_EQ(stored("KW_AUDIO_PLAYPROGRESS"), "0.33");
}

TEST_F(AudioPlayerStreams, ReportsProgressOfAnUnknownLengthAsTheQuotientIs) {
  opened("A");
  stream().tick(5);
  EXPECT_THAT(journal_.take(), ElementsAre("KW_AU_PROGRESS {TIME_NOW=00:05 TIME_END=00:00 PROGRESS=inf}"));
  EXPECT_EQ(stored("KW_AUDIO_PLAYPROGRESS"), "inf");
  stream().tick(0.5);
  EXPECT_THAT(journal_.take(),
              ElementsAre(::testing::AnyOf("KW_AU_PROGRESS {TIME_NOW=00:00 TIME_END=00:00 PROGRESS=nan}",
                                           "KW_AU_PROGRESS {TIME_NOW=00:00 TIME_END=00:00 PROGRESS=-nan}")));
  EXPECT_EQ(stored("KW_AUDIO_PLAYPROGRESS"), "nan");
}

TEST_F(AudioPlayerStreams, ReportsSpeedThenGap) {
  opened("A");
  stream().becomeReady({100, 1});
  journal_.take();
  advance(0.5);
  stream().load({{0, 5}});
  EXPECT_THAT(journal_.take(), ElementsAre("KW_AU_NET_SPEED 0.1", "KW_AU_NET_TIMEGAP 0.5"));
}

TEST_F(AudioPlayerStreams, GoesOnAtTheEndOfAStream) {
  const auto player = opened("AB");
  player->didContinue();
  journal_.take();
  stream().end();
  EXPECT_THAT(journal_.take(), ElementsAre("log: KWNetplayer finished.", "log: NetPlayer state :3",
                                           "log: did play volume:0.50", "log: url ===> http://host/B",
                                           "stream: pause", "stream: open http://host/B", "KW_UPDATE",
                                           "AVPlayerItemDidPlayToEndTimeNotification"));
  EXPECT_EQ(stream().volume(), 0.5f);
  EXPECT_EQ(player->mState(), 2u);
}

TEST_F(AudioPlayerStreams, FinishesAfterTheLastStreamOfListOnce) {
  const auto player = opened("A");
  player->setMMode(3);
  player->didContinue();
  journal_.take();
  stream().end();
  EXPECT_THAT(journal_.take(),
              ElementsAre("log: KWNetplayer finished.", "log: NetPlayer state :3", "KW_AU_NOTE KW_FINISH",
                          "AVPlayerItemDidPlayToEndTimeNotification"));
  EXPECT_EQ(player->mState(), 0u);
  EXPECT_FALSE(player->mNowItem()->isPlaying());
}

TEST_F(AudioPlayerStreams, PausesForAnEntryWithoutAddress) {
  const auto player = opened("A");
  list_.front()->setMUrl("100%zz");
  player->didPlay(0);
  journal_.take();
  turn();
  EXPECT_THAT(journal_.take(), ElementsAre("log: NetPlayer state :2", "KW_AU_NOTE KW_PAUSE"));
  EXPECT_EQ(player->mState(), 2u);
}

TEST_F(AudioPlayerStreams, PlaysThroughTheRetryWhenTheLengthIsUnknown) {
  const auto player = opened("A");
  stream().becomeReady({});
  stream().keepUp();
  EXPECT_EQ(player->mState(), 2u);
  advance(3);
  EXPECT_EQ(player->mState(), 1u);
  EXPECT_TRUE(stream().playing());
}

TEST_F(AudioPlayerStreams, DoesNotHearAStreamPlayerThatOutlivesIt) {
  auto player = KWAudioPlayer::init_2();
  player->setNetPaths(list_ = streamList("A"));
  player->didPlay(0);
  const auto net = player->mNetPlayer();
  player.reset();
  EXPECT_EQ(net->delegate(), nullptr);
  journal_.take();
  stream().end();
  EXPECT_THAT(journal_.take(),
              ElementsAre("log: KWNetplayer finished.", "AVPlayerItemDidPlayToEndTimeNotification"));
}

TEST_F(AudioPlayerStreams, ToleratesHavingNoStreamPlayer) {
  const auto player = opened("AB");
  const auto net = player->mNetPlayer();
  player->setMNetPlayer(nullptr);
  EXPECT_EQ(net->delegate(), nullptr);
  player->didPlay(1);
  player->didContinue();
  player->didPause();
  player->didStop();
  player->setPhoneVolume(0.5f);
  player->setLockScreenNowPlayingInfo();
  EXPECT_EQ(player->mState(), 2u);
  EXPECT_EQ(KWAudioPlayer::getPlayerVolume(), 0);
}

TEST_F(AudioPlayerStreams, MayBeLetGoFromInsideItsEvents) {
  using Drive = void (*)(FakeStreamPlayer&);
  const Drive drives[] = {[](FakeStreamPlayer& s) { s.runEmpty(); }, [](FakeStreamPlayer& s) { s.keepUp(); },
                          [](FakeStreamPlayer& s) { s.tick(1); }, [](FakeStreamPlayer& s) { s.load({}); },
                          [](FakeStreamPlayer& s) { s.end(); }};
  for (const Drive drive : drives) {
    auto player = KWAudioPlayer::init_2();
    player->setNetPaths(list_ = streamList("AB"));
    player->didPlay(0);
    const std::weak_ptr<KWAudioPlayer> weak = player;
    const auto letGo = [&](const Notification&) { player.reset(); };
    auto& bus = NotificationBus::shared();
    const auto note = bus.add("KW_AU_NOTE", letGo);
    const auto update = bus.add("KW_UPDATE", letGo);
    const auto progress = bus.add("KW_AU_PROGRESS", letGo);
    const auto speed = bus.add("KW_AU_NET_SPEED", letGo);
    drive(stream());
    EXPECT_TRUE(weak.expired());
    advance(3);
    EXPECT_TRUE(streams_->alive().empty());
  }
}

}  // namespace
}  // namespace vantrel::testing
