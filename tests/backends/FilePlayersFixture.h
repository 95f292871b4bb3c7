#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "tests/backends/AudioFiles.h"
#include "vantrel/backends/gstreamer/GStreamerFilePlayers.h"
#include "vantrel/loop/RunLoop.h"

namespace vantrel::test {

/// Opens tracks through GStreamer and sees how they end.
class FilePlayersFixture : public ::testing::Test {
 protected:
  /// A player of the file, at its full path; null when it cannot be opened.
  std::unique_ptr<FilePlayer> open(const std::string& path) {
    auto player = factory_.openUrl(path);
    return player ? *std::move(player) : nullptr;
  }

  /// A player of such a tone; the test ends when there is none.
  std::unique_ptr<FilePlayer> openTone(const std::string& seconds) {
    auto player = open(files_.tone("tone", seconds));
    if (!player) throw std::runtime_error("no tone");
    return player;
  }

  /// Plays and runs the main loop for a while.
  void playFor(FilePlayer& player, Duration time) {
    EXPECT_TRUE(player.play());
    loop_.runFor(time);
  }

  /// Runs the main loop until the track has ended; false when it has not within `limit`.
  bool runToEnd(FilePlayer& player, Duration limit = std::chrono::seconds(5)) {
    succeeded_.reset();
    error_.reset();
    observe(player);
    player.play();
    loop_.runFor(limit);
    return succeeded_.has_value() || error_.has_value();
  }

  void observe(FilePlayer& player) {
    const auto ended = [this] {
      ++reports_;
      loop_.stop();
    };
    FilePlayerObserver observer;
    observer.audioPlayerDidFinishPlaying_successfully = [=, this](FilePlayer&, bool ok) {
      succeeded_ = ok;
      ended();
    };
    observer.audioPlayerDecodeErrorDidOccur_error = [=, this](FilePlayer&, const Error& error) {
      error_ = error;
      ended();
    };
    player.setObserver(observer);
  }

  AudioFiles files_;
  RunLoop& loop_ = RunLoop::main();
  backends::GStreamerFilePlayers factory_;
  std::optional<bool> succeeded_;
  std::optional<Error> error_;
  int reports_ = 0;
};

}  // namespace vantrel::test
