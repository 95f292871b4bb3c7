// A back end of the program's own, and time that is moved by hand: an hour of music, without sound, in a
// moment.
#include <algorithm>
#include <iostream>

#include "vantrel/host/Host.h"
#include "vantrel/loop/ManualClock.h"
#include "vantrel/loop/RunLoop.h"
#include "vantrel/player/KWAudioPlayer.h"

using namespace vantrel;
using namespace std::chrono_literals;

/// Says that it plays twenty minutes of silence, in the time of the clock in force.
class SilentTrack : public FilePlayer {
 public:
  ~SilentTrack() override { RunLoop::main().cancel(end_); }

  bool prepareToPlay() override { return true; }
  bool play() override {
    pause();
    started_ = Clock::current().now();
    playing_ = true;
    end_ = RunLoop::main().after(durationOfSeconds(kLength - position_), [this] {
      pause();
      position_ = 0;
      const auto finished = observer_.audioPlayerDidFinishPlaying_successfully;
      if (finished) finished(*this, true);  // may destroy this
    });
    return true;
  }
  void pause() override {
    position_ = currentTime();
    playing_ = false;
    RunLoop::main().cancel(end_);
  }
  void stop() override { pause(); }
  bool playing() const override { return playing_; }
  double currentTime() const override {
    if (!playing_) return position_;
    return position_ + std::chrono::duration<double>(Clock::current().now() - started_).count();
  }
  void setCurrentTime(double seconds) override {
    const bool playing = playing_;
    pause();
    position_ = std::clamp(seconds, 0.0, kLength);
    if (playing) play();
  }
  double duration() const override { return kLength; }
  float volume() const override { return volume_; }
  void setVolume(float volume) override { volume_ = volume; }
  void setMeteringEnabled(bool) override {}
  void updateMeters() override {}
  std::size_t numberOfChannels() const override { return 2; }
  float averagePowerForChannel(std::size_t) const override { return -160; }
  void setObserver(FilePlayerObserver observer) override { observer_ = std::move(observer); }

 private:
  static constexpr double kLength = 20 * 60;

  FilePlayerObserver observer_;
  RunLoop::TimerId end_;
  Instant started_;
  double position_ = 0;
  float volume_ = 1;
  bool playing_ = false;
};

class SilentTracks : public FilePlayerFactory {
 public:
  Result<std::unique_ptr<FilePlayer>> openUrl(const std::string& url) override { return openFile(url); }
  Result<std::unique_ptr<FilePlayer>> openFile(const std::string& path) override {
    if (path.ends_with(".txt")) return Error::saying("own_host", 1, "no music in it");
    return std::unique_ptr<FilePlayer>(std::make_unique<SilentTrack>());
  }
};

int main() {
  ManualClock clock;
  const ScopedClock scope(clock);
  RunLoop& loop = RunLoop::main();
  Host host;
  host.applicationName = "own_host";
  host.filePlayers = std::make_shared<SilentTracks>();
  Host::install(std::move(host));

  const auto music = KWAudioPlayer::sharedMeByPaths(
      MusicOfPhoneMode::listOf({"/one.ogg", "/notes.txt", "/two.ogg", "/three.ogg"}));
  const auto telling = NotificationBus::shared().add(player::kUpdate, [&](const Notification&) {
    const auto minutes = std::chrono::duration_cast<std::chrono::minutes>(clock.now().sinceStart).count();
    std::cout << "minute " << minutes << ": " << music->mNowItem()->mTitle().value_or("");
    if (const auto why = music->trackError()) std::cout << ": " << why->description();
    std::cout << '\n';
  });
  bool over = false;
  music->setMMode(player::ListOnce);
  music->setOnListEnded([&over] { over = true; });
  music->didPlay(0);
  clock.advance(loop, 61min);
  std::cout << (over ? "over\n" : "not over\n");
}
