#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>

#include "tests/support/FakeAudioSession.h"
#include "tests/support/FakeFilePlayer.h"
#include "tests/support/FakeMusicLibrary.h"
#include "tests/support/FakeNowPlayingCenter.h"
#include "tests/support/FakeStreamPlayer.h"
#include "tests/support/Journal.h"
#include "vantrel/host/Host.h"
#include "vantrel/loop/ManualClock.h"
#include "vantrel/loop/RunLoop.h"
#include "vantrel/player/KWAudioPlayer.h"

namespace vantrel::testing {

/// A process in which nothing has played, on a host of fakes, under a clock that stands still.
class PlayerFixture : public ::testing::Test {
 protected:
  PlayerFixture() {
    std::string pattern = (std::filesystem::temp_directory_path() / "player-XXXXXX").string();
    folder_ = ::mkdtemp(pattern.data());
    install();
  }

  ~PlayerFixture() override {
    KWAudioPlayer::resetForTests();
    // Retries and releases that are still waiting belong to this test.
    clock_.advance(loop(), std::chrono::seconds(10));
    EXPECT_TRUE(files_->alive().empty());
    EXPECT_TRUE(streams_->alive().empty());
    Host::install(*earlier_);
    settings_.reset();  // it writes what is pending, so the folder goes after it
    std::filesystem::remove_all(folder_);
  }

  /// The fakes as the host's; a test that changes one pointer installs again.
  void install() {
    Host host;
    host.filePlayers = files_;
    host.streamPlayers = streams_;
    host.musicLibrary = library_;
    host.audioSession = session_;
    host.nowPlayingCenter = center_;
    host.settings = settings();
    const auto before = Host::install(std::move(host));
    if (!earlier_) earlier_ = before;
  }

  std::shared_ptr<SettingsStore> settings() {
    if (!settings_) settings_ = std::make_shared<SettingsStore>(folder_ / "settings.plist");
    return settings_;
  }

  static RunLoop& loop() { return RunLoop::main(); }
  void advance(double seconds) { clock_.advance(loop(), durationOfSeconds(seconds)); }
  void turn() { advance(0); }

  /// The stored text, or "absent".
  std::string stored(const std::string& key) {
    const auto value = settings()->objectForKey(key);
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

  /// A file with these contents.
  std::string writeFile(const std::string& name, const std::string& contents) {
    std::ofstream(folder_ / name, std::ios::binary) << contents;
    return (folder_ / name).string();
  }

  /// Entries for the files "A.mp3", "B.mp3", ..., each holding its letter and playable.
  MusicList fileList(const std::string& names) {
    MusicList list;
    for (const char name : names) {
      const std::string letter(1, name);
      files_->put(letter);
      list.push_back(entry(list.size()));
      list.back()->setMPath(writeFile(letter + ".mp3", letter));
    }
    return list;
  }

  static MusicList streamList(const std::string& names) {
    MusicList list;
    for (const char name : names) {
      list.push_back(entry(list.size()));
      list.back()->setMUrl("http://host/" + std::string(1, name));
      list.back()->setMTitle(std::string(1, name));
    }
    return list;
  }

  static std::shared_ptr<MusicOfPhoneMode> entry(std::size_t index) {
    auto entry = std::make_shared<MusicOfPhoneMode>();
    entry->setMIndex(static_cast<std::int64_t>(index));
    return entry;
  }

  ManualClock clock_{Date{1'700'000'000}};
  ScopedClock scopedClock_{clock_};
  Journal journal_;
  Tell tell_ = [this](std::string line) { journal_.add(std::move(line)); };
  std::shared_ptr<FakeFilePlayers> files_ = std::make_shared<FakeFilePlayers>(tell_);
  std::shared_ptr<FakeStreamPlayers> streams_ = std::make_shared<FakeStreamPlayers>(tell_);
  std::shared_ptr<FakeMusicLibrary> library_ = std::make_shared<FakeMusicLibrary>();
  std::shared_ptr<FakeAudioSession> session_ = std::make_shared<FakeAudioSession>();
  std::shared_ptr<FakeNowPlayingCenter> center_ = std::make_shared<FakeNowPlayingCenter>();
  std::filesystem::path folder_;

 private:
  std::shared_ptr<SettingsStore> settings_;
  std::shared_ptr<const Host> earlier_;
};

using ::testing::ElementsAre;
using ::testing::IsEmpty;

}  // namespace vantrel::testing
