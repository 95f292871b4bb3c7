#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <numeric>
#include <optional>
#include <string>

#include "tests/support/FakeAudioSession.h"
#include "tests/support/FakeFilePlayer.h"
#include "tests/support/FakeMusicLibrary.h"
#include "tests/support/FakeNowPlayingCenter.h"
#include "tests/support/FakeStreamPlayer.h"
#include "tests/support/Journal.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/Script.h"
#include "vantrel/host/Host.h"
#include "vantrel/loop/ManualClock.h"
#include "vantrel/loop/RunLoop.h"
#include "vantrel/player/KWAudioPlayer.h"

namespace vantrel::testing {

/// A process in which nothing has played, on a host of fakes, under a clock that stands still.
class PlayerFixture : public ::testing::Test {
 protected:
  PlayerFixture() {
    install();
    script_.add({{"wait", [this](auto& seconds) { advance(std::stod(seconds)); }},
                 {"turn", [this](auto&) { turn(); }},
                 {"ready", [this](auto& seconds) { stream().becomeReady(milliseconds(seconds)); }},
                 {"unknown", [this](auto&) { stream().setItemStatus(StreamPlayer::ItemStatus::Unknown); }},
                 {"failed", [this](auto&) { stream().setItemStatus(StreamPlayer::ItemStatus::Failed); }},
                 {"load",
                  [this](auto& seconds) {
                    stream().load({{0, std::stod(seconds)}});
                  }},
                 {"empty", [this](auto&) { stream().runEmpty(); }},
                 {"keep-up", [this](auto&) { stream().keepUp(); }},
                 {"tick", [this](auto& seconds) { stream().tick(std::stod(seconds)); }},
                 {"end", [this](auto&) { stream().end(); }}});
  }

  ~PlayerFixture() override {
    KWAudioPlayer::resetForTests();
    // Retries and releases that are still waiting belong to this test.
    clock_.advance(loop(), std::chrono::seconds(10));
    EXPECT_TRUE(files_->alive().empty());
    EXPECT_TRUE(streams_->alive().empty());
    Host::install(*earlier_);
  }

  /// The fakes as the host's; a test that changes one pointer installs again.
  void install() {
    Host host;
    host.filePlayers = files_;
    host.streamPlayers = streams_;
    host.musicLibrary = library_;
    host.audioSession = session_;
    host.nowPlayingCenter = center_;
    host.settings = settings_;
    const auto before = Host::install(std::move(host));
    if (!earlier_) earlier_ = before;
  }

  static RunLoop& loop() { return RunLoop::main(); }
  void advance(double seconds) { clock_.advance(loop(), durationOfSeconds(seconds)); }
  void turn() { advance(0); }
  FakeStreamPlayer& stream() const { return streams_->last(); }

  /// What was told since the last call, in one text; where nothing was, that is empty.
  std::string told() {
    const auto lines = journal_.take();
    const auto join = [](std::string a, const std::string& b) { return a.empty() ? b : a + ", " + b; };
    return std::accumulate(lines.begin(), lines.end(), std::string(), join);
  }

  /// Runs a script; gives what the words behind its bar told: "play:0 pause | continue".
  std::string toldBy(const std::string& program) {
    const std::size_t bar = program.find('|');
    if (bar != std::string::npos) script_.run(program.substr(0, bar));
    journal_.take();
    script_.run(program.substr(bar + 1));
    return told();
  }

  /// The stored text, or "absent".
  std::string stored(const std::string& key) const {
    const auto value = settings_->objectForKey(key);
    const auto text = value ? value->asString() : std::nullopt;
    return std::string(text.value_or("absent"));
  }

  /// Songs A, B, ... in the library, each at an address that can be opened ("url-A").
  void addSongs(const std::string& names) {
    for (const char name : names) {
      const std::string title(1, name);
      library_->add(FakeMusicLibrary::song(title, "artist " + title, "url-" + title));
      files_->put("url-" + title);
    }
  }

  /// Entries for the files "A.mp3", ..., each holding its letter and playable; "x.mp3" of a small letter is
  /// missing.
  MusicList fileList(const std::string& names) {
    std::vector<std::string> paths;
    for (const char name : names) {
      const std::string letter(1, name);
      files_->put(letter);
      if (name < 'a') folder_.put(letter + ".mp3", letter);
      paths.push_back(folder_.at(letter + ".mp3"));
    }
    return MusicOfPhoneMode::listOf(paths);
  }

  /// Entries for the streams "http://host/A", ...
  static MusicList streamList(const std::string& names) {
    MusicList list;
    for (const char name : names) {
      list.push_back(std::make_shared<MusicOfPhoneMode>());
      list.back()->setMIndex(static_cast<std::int64_t>(list.size()) - 1);
      list.back()->setMUrl("http://host/" + std::string(1, name));
      list.back()->setMTitle(std::string(1, name));
    }
    return list;
  }

  ManualClock clock_{Date{1'700'000'000}};
  ScopedClock scopedClock_{clock_};
  Journal journal_;
  Script script_;
  Tell tell_ = [this](std::string line) { journal_.add(std::move(line)); };
  std::shared_ptr<FakeFilePlayers> files_ = std::make_shared<FakeFilePlayers>(tell_);
  std::shared_ptr<FakeStreamPlayers> streams_ = std::make_shared<FakeStreamPlayers>(tell_);
  std::shared_ptr<FakeMusicLibrary> library_ = std::make_shared<FakeMusicLibrary>();
  std::shared_ptr<FakeAudioSession> session_ = std::make_shared<FakeAudioSession>();
  std::shared_ptr<FakeNowPlayingCenter> center_ = std::make_shared<FakeNowPlayingCenter>();
  tests::ScratchFolder folder_;  // outlives the settings, which write what is pending
  std::shared_ptr<SettingsStore> settings_ = std::make_shared<SettingsStore>(folder_.at("settings.plist"));

 private:
  static MediaTime milliseconds(const std::string& seconds) {
    return {seconds.empty() ? 0 : std::llround(std::stod(seconds) * 1000), seconds.empty() ? 0 : 1000};
  }

  std::shared_ptr<const Host> earlier_;
};

using ::testing::ElementsAre;
using ::testing::IsEmpty;

}  // namespace vantrel::testing
