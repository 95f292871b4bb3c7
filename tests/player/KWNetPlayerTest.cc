#include "vantrel/player/KWNetPlayer.h"

#include <algorithm>
#include <cmath>

#include "tests/player/PlayerFixture.h"

namespace vantrel::testing {
namespace {

/// A stream player with an observer that implements every operation and tells the journal.
class NetPlayer : public PlayerFixture {
 protected:
  NetPlayer() {
    const auto teller = [this](const char* what) {
      return
          [this, what](KWNetPlayer&, auto value) { journal_.add(what + shown(static_cast<double>(value))); };
    };
    delegate_.onKWNetPlayer_ChangeStatus = teller("status ");
    delegate_.onKWNetPlayer_CachedProgress = teller("cached ");
    delegate_.onKWNetPlayer_PlayTime = teller("time ");
    delegate_.onKWNetPlayer_PlayFinished = teller("finished ");
    delegate_.onKWNetPlayer_Speed_TimeGap = [this](KWNetPlayer&, float speed, double gap) {
      journal_.add("speed " + shown(static_cast<double>(speed)) + " gap " + shown(gap));
    };
    renew();
    script_.add({{"open", [this](auto& name) { player_->didPlayUrl("http://host/" + name); }},
                 {"open-nothing", [this](auto&) { player_->didPlayUrl(""); }},
                 {"cached", [this](auto& fraction) { player_->setTime_cached(std::stof(fraction)); }},
                 {"played", [this](auto& seconds) { player_->setTime_play(std::stof(seconds)); }},
                 {"total", [this](auto& seconds) { player_->setTime_total(std::stof(seconds)); }},
                 {"continue", [this](auto&) { player_->didContinue(); }},
                 {"pause", [this](auto&) { player_->didPause(); }},
                 {"stop", [this](auto&) { player_->didStop(); }},
                 {"any-end", [](auto&) {
                    NotificationBus::shared().post("AVPlayerItemDidPlayToEndTimeNotification");
                  }}});
  }

  /// Another player, when the one before has nothing left to do.
  void renew() {
    player_.reset();
    advance(10);
    player_ = KWNetPlayer::init();
    player_->setDelegate(&delegate_);
  }

  KWNetPlayerDelegate delegate_;
  std::shared_ptr<KWNetPlayer> player_;
};

TEST_F(NetPlayer, TellsWhatItHears) {
  const std::string plays = ", stream: play, status 1";
  const std::string enough = "log: KWNetPlayer did play ，enough buffer.";
  const std::string all = "log: KWNetPlayer did play ，have all buffer." + plays;
  const std::string tooLittle =
      "stream: pause, status 2, log: KWNetPlayer can't play ，waitting for more buffer!";
  const std::string anyway = "log: KWNetPlayer try to play ，however not enough buffer." + plays;
  const std::string empty = "log: KWNetPlayer can't play ，no enough buffer!";
  const std::string ready = "log: KWNetPlayer ready to play，total time ：";
  const std::string ended = "AVPlayerItemDidPlayToEndTimeNotification";
  const std::pair<const char*, std::string> cases[] = {
      {"| open:a open:b turn",
       "log: url ===> http://host/a, stream: open http://host/a, log: url ===> http://host/b, stream: pause, "
       "stream: open http://host/b"},
      {"open:a | ready:90", ready + "90.00"},
      {"open:a | ready:1.999", ready + "1.00"},
      {"open:a | ready", ready + "0.00"},
      {"open:a | unknown", "stream: pause, status 2"},
      {"open:a | failed", "stream: pause, status 2"},
      {"open:a | empty empty", empty + ", status 0, " + empty},
      {"open:a cached:0.5 played:30 total:100 | keep-up", enough + plays},
      {"open:a cached:0.02 total:100 | keep-up", enough + plays},
      {"open:a cached:1 played:99.9 total:100 | keep-up", all},
      {"open:a cached:1 | keep-up", all},
      {"open:a cached:0.5 played:30 total:100 pause | keep-up", enough},
      {"open:a cached:0.305 played:30 total:100 | keep-up wait:2.99", tooLittle},
      {"open:a | keep-up wait:3", tooLittle + ", " + anyway},
      {"open:a cached:0.5 played:3 | keep-up wait:3", tooLittle + ", " + anyway},
      {"open:a cached:nan played:1 total:10 | keep-up wait:3", tooLittle + ", " + anyway},
      {"open:a cached:0.009 total:100 | keep-up wait:3", tooLittle + ", " + anyway},
      {"open:a total:100 keep-up pause | wait:5", ""},
      {"open:a | continue continue pause pause stop stop",
       "stream: play, status 1, stream: play, stream: pause, status 2, stream: pause, stream: pause, status "
       "3, "
       "stream: pause"},
      {"open:a ready:100 | wait:1 load:20 wait:0.5 load:25",
       "speed 0.2 gap 1, cached 0.2, speed 0.1 gap 0.5, cached 0.25"},
      {"open:a | tick:0 tick:1.5", "time 1.5"},
      {"open:a continue | any-end", "log: KWNetplayer finished., status 3, finished 0, " + ended},
      {"open:a continue stop | failed empty keep-up tick:1 load:1", ""},
      {"open:a continue | open-nothing", "log: url ===> , stream: pause"},
      {"open:a continue open-nothing | turn continue", "status 2, status 1"},
      {"open-nothing open:a | turn", ""},
      {"open-nothing stop | turn", ""}};
  for (const auto& [script, told] : cases) {
    renew();
    EXPECT_EQ(toldBy(script), told) << script;
  }
  player_.reset();
  EXPECT_EQ(toldBy("| wait:3 any-end"), ended) << "destroyed";
}

TEST_F(NetPlayer, OpensAnAddressPercentEncodedAndListensUntilItIsStopped) {
  EXPECT_EQ(player_->status(), 0u);
  EXPECT_EQ(player_->isPlay(), 0);
  player_->setVolume(0.3f);
  EXPECT_EQ(player_->getVolume(), 0) << "of no stream player yet";
  player_->didPlayUrl("http://host/a b.mp3");
  EXPECT_EQ(told(), "log: url ===> http://host/a b.mp3, stream: open http://host/a%20b.mp3");
  EXPECT_EQ(player_->status(), 3u);
  EXPECT_EQ(player_->isPlay(), 1);
  EXPECT_TRUE(player_->isOber() && player_->mTimeObserve());
  EXPECT_EQ(player_->mAvsset(), "http://host/a%20b.mp3");
  EXPECT_FALSE(stream().playing());
  EXPECT_EQ(stream().volume(), 1);
  EXPECT_FALSE(stream().automaticallyWaits());
  EXPECT_EQ(stream().tickInterval(), 1.0);
  script_.run("any-end");
  EXPECT_EQ(player_->isPlay(), 0);
  script_.run("stop");
  EXPECT_FALSE(player_->isOber() || player_->mTimeObserve());
  EXPECT_FALSE(stream().itemObserved() || stream().timeObserved());
}

TEST_F(NetPlayer, UsesItsStreamPlayerAgainForTheNextAddressAndStartsFromZero) {
  script_.run("open:a cached:0.5 played:30 total:100 load:10 open:b");
  EXPECT_EQ(streams_->asked(), 1);
  EXPECT_EQ(std::max({player_->time_cached(), player_->time_play(), player_->time_total()}), 0);
  EXPECT_EQ(player_->dw_pgs(), 0);
  EXPECT_EQ(player_->status(), 3u);
}

TEST_F(NetPlayer, KeepsWhatItReports) {
  script_.run("open:a ready:90.9 tick:1.5");
  EXPECT_EQ(player_->time_total(), 90);
  EXPECT_EQ(player_->time_play(), 1.5f);
  stream().load({{5, 40.45}, {50, 40}});
  EXPECT_FLOAT_EQ(player_->time_cached(), 0.5f) << "of the first range";
  stream().load({});
  EXPECT_EQ(player_->time_cached(), 0);
  script_.run("open:b load:20");
  EXPECT_TRUE(std::isinf(player_->time_cached())) << "of an unknown length";
  stream().load({});
  EXPECT_TRUE(std::isnan(player_->time_cached()));
  EXPECT_FALSE(player_->itemError());
  script_.run("failed");
  EXPECT_TRUE(player_->itemError());
  EXPECT_EQ(player_->isPlay(), 1);
}

TEST_F(NetPlayer, SkipsAReportThatNobodyImplementsWithWhatItStores) {
  script_.run("open:a ready:100");
  delegate_ = {};
  EXPECT_EQ(toldBy("| wait:2 load:20 tick:7 pause"), "stream: pause");
  EXPECT_EQ(player_->time_cached(), 0);
  EXPECT_EQ(player_->time_play(), 0);
  EXPECT_EQ(player_->status(), 3u);
  EXPECT_EQ(player_->dw_pgs(), 0.2f);
  EXPECT_EQ(player_->dw_l_time(), clock_.date());
}

TEST_F(NetPlayer, IsKeptAliveByAPendingRetryUntilItHasRun) {
  script_.run("open:a total:100 keep-up");
  player_->setDelegate(nullptr);
  const std::weak_ptr<KWNetPlayer> weak = player_;
  player_.reset();
  EXPECT_EQ(toldBy("| wait:2.9"), "");
  EXPECT_FALSE(weak.expired());
  EXPECT_EQ(toldBy("| wait:0.1"), "log: KWNetPlayer try to play ，however not enough buffer., stream: play");
  EXPECT_TRUE(weak.expired());
}

TEST_F(NetPlayer, CountsAnAddressThatCannotBeOpenedAsAFailedItem) {
  for (const std::optional<std::string>& address :
       {std::optional<std::string>(), std::optional<std::string>("")}) {
    script_.run("open:a");
    player_->didPlayUrl(address);
    EXPECT_EQ(player_->status(), 3u);
    EXPECT_FALSE(player_->mAvsset() || player_->mSongItem());
    EXPECT_EQ(player_->itemError().value().code, player::NothingToOpen);
  }
  EXPECT_THAT(told(), ::testing::HasSubstr("log: url ===> (null), "));
  const auto streams = std::exchange(streams_, nullptr);
  install();
  renew();
  EXPECT_EQ(toldBy("open:a open:b | turn"), "status 2");
  EXPECT_EQ(player_->itemError().value().code, player::HostCannotPlay);
  streams_ = streams;
}

TEST_F(NetPlayer, MayBeLetGoFromInsideAnyReport) {
  for (const char* event : {"failed", "load:1", "empty", "keep-up", "tick:1", "end"}) {
    auto delegate = std::make_unique<KWNetPlayerDelegate>();
    player_ = KWNetPlayer::init();
    const std::weak_ptr<KWNetPlayer> weak = player_;
    int calls = 0;
    const auto letGo = [&](KWNetPlayer& reporter, auto...) {
      ++calls;
      reporter.setDelegate(nullptr);
      player_.reset();
      delegate.reset();
    };
    *delegate = {letGo, letGo, letGo, letGo, letGo};
    player_->setDelegate(delegate.get());
    script_.run("open:a");
    script_.run(event);
    EXPECT_EQ(calls, 1) << event;
    advance(3);
    EXPECT_TRUE(weak.expired()) << event;
    EXPECT_TRUE(streams_->alive().empty()) << event;
  }
}

TEST_F(NetPlayer, MayOpenTheNextStreamFromInsideTheEnd) {
  const char* next = "open:b";
  delegate_.onKWNetPlayer_PlayFinished = [&](KWNetPlayer&, float) { script_.run(next); };
  script_.run("open:a end");
  EXPECT_EQ(stream().url(), "http://host/b");
  EXPECT_EQ(player_->isPlay(), 1);
  next = "open-nothing";
  script_.run("end turn");
  EXPECT_TRUE(streams_->alive().empty());
}

}  // namespace
}  // namespace vantrel::testing
