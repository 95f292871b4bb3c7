#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>

#include "tests/support/ScratchFolder.h"
#include "vantrel/backends/gstreamer/GStreamerFilePlayers.h"
#include "vantrel/loop/RunLoop.h"

namespace vantrel::test {

/// How a track has ended.
enum class End { NotYet, Whole, CutOff, Failed };

/// Makes audio files by independent programs, opens them through GStreamer, plays them into nothing and sees
/// how they end.
class FilePlayersFixture : public ::testing::Test {
 protected:
  FilePlayersFixture() { ::setenv("VANTREL_AUDIO_SINK", "fakesink", 1); }

  /// Runs a shell command in the folder; the path of the file `name` that it makes, empty when it failed.
  std::string make(const std::string& name, const std::string& command) const {
    const std::string line = "cd '" + folder_.path() + "' && " + command;
    return std::system(line.c_str()) == 0 ? folder_.at(name) : "";
  }

  /// A stereo tone of 1 kHz at -20 dB left and -26 dB right, as `name`.wav.
  std::string tone(const std::string& name, const std::string& seconds) const {
    return make(name + ".wav", "sox -n -R -r 44100 -b 16 -c 2 " + name + ".wav synth " + seconds +
                                   " sine 1000 remix 1v0.1 1v0.0501187");
  }

  /// A player of the file, at its full path; null when it cannot be opened.
  std::unique_ptr<FilePlayer> open(const std::string& path) {
    auto player = factory_.openUrl(path);
    return player ? *std::move(player) : nullptr;
  }

  /// A player of such a tone; the test ends when there is none.
  std::unique_ptr<FilePlayer> openTone(const std::string& seconds) {
    auto player = open(tone("tone", seconds));
    if (!player) throw std::runtime_error("no tone");
    return player;
  }

  /// Plays and runs the main loop for a while.
  void playFor(FilePlayer& player, Duration time) {
    EXPECT_TRUE(player.play());
    loop_.runFor(time);
  }

  /// Plays, and hears of the end; the main loop stops when all that were started have ended.
  void start(FilePlayer& player) {
    ++running_;
    ends_.erase(&player);
    observe(player);
    EXPECT_TRUE(player.play());
  }

  /// Runs the main loop until the track has ended; not beyond `limit`.
  End runToEnd(FilePlayer& player, Duration limit = std::chrono::seconds(5)) {
    start(player);
    loop_.runFor(limit);
    return ends_[&player];
  }

  void observe(FilePlayer& player) {
    const auto ended = [this](FilePlayer& each, End end) {
      ends_[&each] = end;
      ++reports_;
      if (--running_ <= 0) loop_.stop();
    };
    FilePlayerObserver observer;
    observer.audioPlayerDidFinishPlaying_successfully = [=](FilePlayer& each, bool whole) {
      ended(each, whole ? End::Whole : End::CutOff);
    };
    observer.audioPlayerDecodeErrorDidOccur_error = [=](FilePlayer& each, const Error&) {
      ended(each, End::Failed);
    };
    player.setObserver(observer);
  }

  tests::ScratchFolder folder_;
  RunLoop& loop_ = RunLoop::main();
  backends::GStreamerFilePlayers factory_;
  std::map<FilePlayer*, End> ends_;
  int running_ = 0;
  int reports_ = 0;
};

}  // namespace vantrel::test
