#include "vantrel/player/KWNetPlayer.h"

#include <cmath>

#include "tests/player/PlayerFixture.h"

namespace vantrel::testing {
namespace {

using Status = StreamPlayer::ItemStatus;

/// A stream player with an observer that implements every operation and tells the journal.
class NetPlayer : public PlayerFixture {
 protected:
  NetPlayer() {
    delegate_.onKWNetPlayer_ChangeStatus = [this](KWNetPlayer&, std::uint64_t status) {
      journal_.add("status " + std::to_string(status));
    };
    delegate_.onKWNetPlayer_CachedProgress = [this](KWNetPlayer&, float fraction) {
      journal_.add("cached " + shown(static_cast<double>(fraction)));
    };
    delegate_.onKWNetPlayer_Speed_TimeGap = [this](KWNetPlayer&, float speed, double gap) {
      journal_.add("speed " + shown(static_cast<double>(speed)) + " gap " + shown(gap));
    };
    delegate_.onKWNetPlayer_PlayTime = [this](KWNetPlayer&, float seconds) {
      journal_.add("time " + shown(static_cast<double>(seconds)));
    };
    delegate_.onKWNetPlayer_PlayFinished = [this](KWNetPlayer&, float zero) {
      journal_.add("finished " + shown(static_cast<double>(zero)));
    };
    player_->setDelegate(&delegate_);
  }

  /// Opens an address and forgets what that told.
  FakeStreamPlayer& open(const std::string& address = "http://host/a") {
    player_->didPlayUrl(address);
    journal_.take();
    return streams_->last();
  }

  /// Opens a stream of which this much is known.
  FakeStreamPlayer& openWith(float cached, float play, float total) {
    FakeStreamPlayer& stream = open();
    player_->setTime_cached(cached);
    player_->setTime_play(play);
    player_->setTime_total(total);
    return stream;
  }

  std::shared_ptr<FakeStreamPlayers> otherStreams_;
  KWNetPlayerDelegate delegate_;
  std::shared_ptr<KWNetPlayer> player_ = KWNetPlayer::init();
};

constexpr const char* kEnough = "log: KWNetPlayer did play ，enough buffer.";
constexpr const char* kAll = "log: KWNetPlayer did play ，have all buffer.";
constexpr const char* kTooLittle = "log: KWNetPlayer can't play ，waitting for more buffer!";
constexpr const char* kTryAnyway = "log: KWNetPlayer try to play ，however not enough buffer.";

TEST_F(NetPlayer, IsEmptyWhenNew) {
  EXPECT_EQ(player_->status(), 0u);
  EXPECT_EQ(player_->isPlay(), 0);
  EXPECT_FALSE(player_->isOber() || player_->mTimeObserve() || player_->mPlayer() || player_->mAvsset() ||
               player_->mSongItem());
  EXPECT_EQ(player_->getVolume(), 0);
}

TEST_F(NetPlayer, OpensAnAddressPercentEncodedAndReportsNothingYet) {
  player_->didPlayUrl("http://host/a b.mp3");
  EXPECT_THAT(journal_.take(),
              ElementsAre("log: url ===> http://host/a b.mp3", "stream: open http://host/a%20b.mp3"));
  EXPECT_EQ(player_->status(), 3u);
  EXPECT_EQ(player_->isPlay(), 1);
  EXPECT_TRUE(player_->isOber() && player_->mTimeObserve());
  EXPECT_EQ(player_->mAvsset(), "http://host/a%20b.mp3");
  FakeStreamPlayer& stream = streams_->last();
  EXPECT_FALSE(stream.playing());
  EXPECT_FALSE(stream.automaticallyWaits());
  EXPECT_EQ(stream.tickInterval(), 1.0);
  turn();
  EXPECT_THAT(journal_.take(), IsEmpty());
}

TEST_F(NetPlayer, UsesItsStreamPlayerAgainForTheNextAddressAndStartsFromZero) {
  FakeStreamPlayer& stream = openWith(0.5f, 30, 100);
  stream.load({{0, 10}});
  journal_.take();
  player_->didPlayUrl("http://host/b");
  EXPECT_THAT(journal_.take(),
              ElementsAre("log: url ===> http://host/b", "stream: pause", "stream: open http://host/b"));
  EXPECT_EQ(streams_->made(), 1);
  EXPECT_EQ(player_->time_cached(), 0);
  EXPECT_EQ(player_->time_play(), 0);
  EXPECT_EQ(player_->time_total(), 0);
  EXPECT_EQ(player_->dw_pgs(), 0);
  EXPECT_EQ(player_->status(), 3u);
}

TEST_F(NetPlayer, TakesTheLengthInWholeSecondsWhenTheItemIsReady) {
  const std::tuple<MediaTime, float, const char*> cases[] = {
      {{90'000, 1'000}, 90, "90.00"}, {{1'999, 1'000}, 1, "1.00"}, {{5, 0}, 0, "0.00"}};
  for (const auto& [duration, seconds, text] : cases) {
    open().becomeReady(duration);
    EXPECT_EQ(player_->time_total(), seconds);
    EXPECT_THAT(journal_.take(),
                ElementsAre(std::string("log: KWNetPlayer ready to play，total time ：") + text));
  }
}

TEST_F(NetPlayer, PausesWhenTheItemIsUnknownOrFailed) {
  for (const Status status : {Status::Unknown, Status::Failed}) {
    open().setItemStatus(status);
    EXPECT_THAT(journal_.take(), ElementsAre("stream: pause", "status 2"));
    EXPECT_EQ(player_->isPlay(), 1);
    EXPECT_EQ(player_->itemError().has_value(), status == Status::Failed);
  }
}

TEST_F(NetPlayer, WaitsWhenTheBufferRunsEmptyAndSaysSoOnce) {
  FakeStreamPlayer& stream = open();
  stream.runEmpty();
  stream.runEmpty();
  EXPECT_THAT(journal_.take(), ElementsAre("log: KWNetPlayer can't play ，no enough buffer!", "status 0",
                                           "log: KWNetPlayer can't play ，no enough buffer!"));
}

TEST_F(NetPlayer, PlaysWhenEnoughOrAllIsBuffered) {
  struct Case {
    float cached, play, total;
    const char* line;
  };
  for (const auto& [cached, play, total, line] :
       {Case{0.5f, 30, 100, kEnough}, {1, 99.9f, 100, kAll}, {1, 0, 0, kAll}, {0.02f, 0, 100, kEnough}}) {
    openWith(cached, play, total).keepUp();
    EXPECT_THAT(journal_.take(), ElementsAre(line, "stream: play", "status 1"));
  }
}

TEST_F(NetPlayer, DoesNotStartByItselfWhatTheHostHasPaused) {
  FakeStreamPlayer& stream = openWith(0.5f, 30, 100);
  player_->didPause();
  journal_.take();
  stream.keepUp();
  EXPECT_THAT(journal_.take(), ElementsAre(kEnough));
  EXPECT_FALSE(stream.playing());
}

TEST_F(NetPlayer, HoldsBackWhenTooLittleIsBufferedAndTriesAfterThreeSeconds) {
  struct Case {
    float cached, play, total;
  };
  for (const auto& [cached, play, total] :
       {Case{0.305f, 30, 100}, {0, 0, 0}, {0.5f, 3, 0}, {std::nanf(""), 1, 10}, {0.009f, 0, 100}}) {
    openWith(cached, play, total).keepUp();
    EXPECT_THAT(journal_.take(), ElementsAre("stream: pause", "status 2", kTooLittle));
    advance(2.99);
    EXPECT_THAT(journal_.take(), IsEmpty());
    advance(0.01);
    EXPECT_THAT(journal_.take(), ElementsAre(kTryAnyway, "stream: play", "status 1"));
  }
}

TEST_F(NetPlayer, GivesTheRetryUpWhenTheHostPausesMeanwhile) {
  openWith(0, 0, 100).keepUp();
  player_->didPause();
  journal_.take();
  advance(5);
  EXPECT_THAT(journal_.take(), IsEmpty());
}

TEST_F(NetPlayer, IsKeptAliveByAPendingRetryUntilItHasRun) {
  openWith(0, 0, 100).keepUp();
  player_->setDelegate(nullptr);
  const std::weak_ptr<KWNetPlayer> weak = player_;
  player_.reset();
  advance(2.9);
  EXPECT_FALSE(weak.expired());
  journal_.take();
  advance(0.1);
  EXPECT_THAT(journal_.take(), ElementsAre(kTryAnyway, "stream: play"));
  EXPECT_TRUE(weak.expired());
}

TEST_F(NetPlayer, ReportsWhatTheHostAsksForOnce) {
  open();
  player_->didContinue();
  player_->didContinue();
  EXPECT_THAT(journal_.take(), ElementsAre("stream: play", "status 1", "stream: play"));
  player_->didPause();
  player_->didPause();
  EXPECT_THAT(journal_.take(), ElementsAre("stream: pause", "status 2", "stream: pause"));
  player_->didStop();
  player_->didStop();
  EXPECT_THAT(journal_.take(), ElementsAre("stream: pause", "status 3", "stream: pause"));
}

TEST_F(NetPlayer, HearsNothingOfTheItemOnceStopped) {
  FakeStreamPlayer& stream = open();
  player_->didStop();
  EXPECT_FALSE(player_->isOber() || player_->mTimeObserve());
  EXPECT_FALSE(stream.itemObserved() || stream.timeObserved());
}

TEST_F(NetPlayer, ReportsTheBufferedFractionWithSpeedAndGap) {
  FakeStreamPlayer& stream = open();
  stream.becomeReady({100'000, 1'000});
  journal_.take();
  advance(1);
  stream.load({{0, 20}});
  advance(0.5);
  stream.load({{5, 20}, {50, 40}});
  EXPECT_THAT(journal_.take(),
              ElementsAre("speed 0.2 gap 1", "cached 0.2", "speed 0.1 gap 0.5", "cached 0.25"));
  EXPECT_EQ(player_->time_cached(), 0.25f);
  stream.load({});
  EXPECT_EQ(player_->time_cached(), 0);
}

TEST_F(NetPlayer, ReportsFractionsOfAnUnknownLengthAsTheyAre) {
  FakeStreamPlayer& stream = open();
  stream.load({{0, 20}});
  EXPECT_TRUE(std::isinf(player_->time_cached()));
  stream.load({});
  EXPECT_TRUE(std::isnan(player_->time_cached()));
}

TEST_F(NetPlayer, ReportsThePlayTimeButNotZero) {
  FakeStreamPlayer& stream = open();
  stream.tick(0);
  stream.tick(1.5);
  EXPECT_THAT(journal_.take(), ElementsAre("time 1.5"));
  EXPECT_EQ(player_->time_play(), 1.5f);
}

TEST_F(NetPlayer, SkipsAReportThatNobodyImplementsWithWhatItStores) {
  FakeStreamPlayer& stream = open();
  stream.becomeReady({100, 1});
  delegate_ = {};
  journal_.take();
  advance(2);
  stream.load({{0, 20}});
  stream.tick(7);
  player_->didPause();
  EXPECT_EQ(player_->time_cached(), 0);
  EXPECT_EQ(player_->time_play(), 0);
  EXPECT_EQ(player_->status(), 3u);
  EXPECT_EQ(player_->dw_pgs(), 0.2f);
  EXPECT_EQ(player_->dw_l_time(), clock_.date());
  EXPECT_THAT(journal_.take(), ElementsAre("stream: pause"));
}

TEST_F(NetPlayer, EndsWithTheItemOfAnyPlayerOfTheProcess) {
  open();
  player_->didContinue();
  journal_.take();
  NotificationBus::shared().post("AVPlayerItemDidPlayToEndTimeNotification");
  EXPECT_THAT(journal_.take(), ElementsAre("log: KWNetplayer finished.", "status 3", "finished 0",
                                           "AVPlayerItemDidPlayToEndTimeNotification"));
  EXPECT_EQ(player_->isPlay(), 0);
}

TEST_F(NetPlayer, ListensToEndsNoLongerOnceDestroyed) {
  open();
  player_.reset();
  EXPECT_TRUE(streams_->alive().empty());
  NotificationBus::shared().post("AVPlayerItemDidPlayToEndTimeNotification");
  EXPECT_THAT(journal_.take(), ElementsAre("AVPlayerItemDidPlayToEndTimeNotification"));
}

TEST_F(NetPlayer, SetsTheVolumeOfItsStreamPlayer) {
  player_->setVolume(0.3f);
  EXPECT_EQ(open().volume(), 1);
  player_->setVolume(0.3f);
  EXPECT_EQ(player_->getVolume(), 0.3f);
  EXPECT_EQ(streams_->last().volume(), 0.3f);
}

TEST_F(NetPlayer, CountsAnAddressThatCannotBeOpenedAsAFailedItem) {
  for (const std::optional<std::string>& address :
       {std::optional<std::string>(), std::optional<std::string>("")}) {
    open().keepUp();
    player_->didContinue();
    journal_.take();
    player_->didPlayUrl(address);
    EXPECT_THAT(journal_.take(), ElementsAre("log: url ===> " + address.value_or("(null)"), "stream: pause"));
    EXPECT_EQ(player_->status(), 3u);
    EXPECT_FALSE(player_->mAvsset() || player_->mSongItem());
    EXPECT_EQ(player_->itemError().value().code, player::NothingToOpen);
    turn();
    EXPECT_THAT(journal_.take(), ElementsAre("status 2"));
    player_->didContinue();
    EXPECT_THAT(journal_.take(), ElementsAre("status 1")) << "the earlier item must not play";
  }
}

TEST_F(NetPlayer, CountsEveryAddressAsFailedOnAHostWithoutStreams) {
  streams_.swap(otherStreams_);
  install();
  player_->didPlayUrl("http://host/a");
  player_->didPlayUrl("http://host/b");
  EXPECT_EQ(player_->itemError().value().code, player::HostCannotPlay);
  journal_.take();
  turn();
  EXPECT_THAT(journal_.take(), ElementsAre("status 2"));
  streams_.swap(otherStreams_);
}

TEST_F(NetPlayer, ForgetsAFailureThatIsNoLongerOfInterest) {
  player_->didPlayUrl("");
  open();
  turn();
  EXPECT_THAT(journal_.take(), IsEmpty());
  player_->didPlayUrl("");
  player_->didStop();
  journal_.take();
  turn();
  EXPECT_THAT(journal_.take(), IsEmpty());
}

TEST_F(NetPlayer, MayBeLetGoFromInsideAnyReport) {
  using Drive = void (*)(FakeStreamPlayer&);
  const Drive drives[] = {[](FakeStreamPlayer& s) { s.setItemStatus(Status::Failed); },
                          [](FakeStreamPlayer& s) {
                            s.load({{0, 1}});
                          },
                          [](FakeStreamPlayer& s) { s.runEmpty(); },
                          [](FakeStreamPlayer& s) { s.keepUp(); },
                          [](FakeStreamPlayer& s) { s.tick(1); },
                          [](FakeStreamPlayer& s) { s.end(); }};
  for (const Drive drive : drives) {
    auto delegate = std::make_unique<KWNetPlayerDelegate>();
    auto player = KWNetPlayer::init();
    const std::weak_ptr<KWNetPlayer> weak = player;
    int calls = 0;
    const auto letGo = [&](KWNetPlayer& reporter, auto...) {
      ++calls;
      reporter.setDelegate(nullptr);
      player.reset();
      delegate.reset();
    };
    *delegate = {letGo, letGo, letGo, letGo, letGo};
    player->setDelegate(delegate.get());
    player->didPlayUrl("http://host/a");
    drive(streams_->last());
    EXPECT_EQ(calls, 1);
    advance(3);
    EXPECT_TRUE(weak.expired());
    EXPECT_TRUE(streams_->alive().empty());
  }
}

TEST_F(NetPlayer, MayOpenTheNextStreamFromInsideTheEnd) {
  delegate_.onKWNetPlayer_PlayFinished = [](KWNetPlayer& player, float) {
    player.didPlayUrl("http://host/b");
  };
  open().end();
  EXPECT_EQ(streams_->last().url(), "http://host/b");
  EXPECT_EQ(player_->isPlay(), 1);
  delegate_.onKWNetPlayer_PlayFinished = [](KWNetPlayer& player, float) { player.didPlayUrl(""); };
  streams_->last().end();
  turn();
  EXPECT_TRUE(streams_->alive().empty());
}

}  // namespace
}  // namespace vantrel::testing
