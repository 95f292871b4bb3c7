#include "vantrel/backends/gstreamer/detail/Player.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "vantrel/backends/gstreamer/detail/AudioSink.h"
#include "vantrel/backends/gstreamer/detail/FrameLength.h"
#include "vantrel/base/Log.h"

namespace vantrel::backends::gstreamer::detail {
namespace {

using namespace std::chrono_literals;

constexpr float kSilence = -160;
constexpr auto kStallCheck = 2s;
constexpr int kStallChecks = 5;

double secondsOf(Pipeline::Time time) { return std::chrono::duration<double>(time).count(); }

}  // namespace

Result<std::unique_ptr<FilePlayer>> Player::open(std::shared_ptr<const Source> source) {
  std::unique_ptr<Player> player(new Player(std::move(source)));
  if (!player->pipeline_.built()) return player->pipeline_.built().error();
  player->pipeline_.useSink(makeDeviceSink());
  if (auto failure = player->load()) return *failure->error;
  if (player->channels_ == 0 || player->pipeline_.decodedUpTo() < Time::zero())
    return player->pipeline_.whyNoSound();
  if (player->length_ == Time::zero()) player->countLength();
  return std::unique_ptr<FilePlayer>(std::move(player));
}

Player::Player(std::shared_ptr<const Source> source)
    : source_(source), pipeline_(std::move(source), [this](const Pipeline::End& end) { onEnd(end); }) {}

Player::~Player() {
  if (stallTimer_) RunLoop::main().cancel(*stallTimer_);
}

/// None when it worked.
std::optional<Pipeline::End> Player::load() {
  if (loaded_) return std::nullopt;
  auto failure = pipeline_.load(rest_);
  if (failure && failure->inSink && goOnSilently()) failure = pipeline_.load(rest_);
  if (failure) return failure;
  loaded_ = true;
  channels_ = pipeline_.channels();
  length_ = length();
  return std::nullopt;
}

void Player::unload(Time rest) {
  if (stallTimer_) RunLoop::main().cancel(*std::exchange(stallTimer_, std::nullopt));
  rest_ = rest;
  playing_ = false;
  loaded_ = false;
  pipeline_.unload();
}

bool Player::prepareToPlay() { return !load(); }

bool Player::play() {
  if (playing_) return true;
  if (load()) return false;
  if (const auto failure = pipeline_.run()) {
    unload(heard());
    if (!failure->inSink || !goOnSilently() || load()) return false;
    if (pipeline_.run()) {
      unload(rest_);
      return false;
    }
  }
  playing_ = true;
  lastHeard_ = Time(-1);
  standingStill_ = 0;
  guardAgainstStall();
  return true;
}

void Player::pause() {
  if (!playing_) return;
  rest_ = heard();
  playing_ = false;
  if (stallTimer_) RunLoop::main().cancel(*std::exchange(stallTimer_, std::nullopt));
  pipeline_.pause();
}

void Player::stop() {
  if (!loaded_) return;
  length();
  unload(heard());
}

double Player::currentTime() const { return secondsOf(heard()); }

Player::Time Player::heard() const {
  const auto position = loaded_ ? pipeline_.position() : std::nullopt;
  if (!position) return rest_;
  // An estimate must not end before the track does.
  if (estimated_) length_ = std::max(length_, *position);
  const Time end = length();
  return end > Time::zero() ? std::min(*position, end) : *position;
}

void Player::setCurrentTime(double seconds) {
  if (std::isnan(seconds)) return;
  const Time end = length();
  const Time limit = end > Time::zero() ? end : Time::max();
  const Time target = std::clamp(durationOfSeconds(seconds), Time::zero(), limit);
  if (loaded_ && !pipeline_.seek(target)) return;
  rest_ = target;
  standingStill_ = 0;
}

/// GStreamer only estimates the length of a bare row of frames, and that not before half a second of playing.
void Player::countLength() {
  const auto frames = lengthOfFrames(*source_);
  if (!frames) return;
  length_ = frames->length;
  counted_ = true;
  estimated_ = !frames->exact;
}

double Player::duration() const { return secondsOf(length()); }

Player::Time Player::length() const {
  if (loaded_ && !counted_) length_ = pipeline_.duration().value_or(length_);
  return length_;
}

void Player::setVolume(float volume) {
  if (std::isnan(volume)) return;
  volume_ = std::clamp(volume, 0.0F, 1.0F);
  pipeline_.setVolume(volume_);
}

void Player::setMeteringEnabled(bool enabled) { metering_ = enabled; }

void Player::updateMeters() {
  levels_ = playing_ && metering_ ? pipeline_.levels().at(heard()) : std::vector<float>{};
}

float Player::averagePowerForChannel(std::size_t channel) const {
  return channel < levels_.size() ? std::max(levels_[channel], kSilence) : kSilence;
}

void Player::guardAgainstStall() {
  RunLoop& loop = RunLoop::main();
  stallTimer_ = loop.at(loop.clock().now() + kStallCheck, [this] { checkForStall(); });
}

/// A damaged file or a stuck device must not keep the track from ever ending.
void Player::checkForStall() {
  stallTimer_.reset();
  // Of a track that is longer than it says, only what is decoded still moves.
  const Time now = heard() + pipeline_.decodedUpTo();
  standingStill_ = now == lastHeard_ ? standingStill_ + 1 : 0;
  lastHeard_ = now;
  if (standingStill_ < kStallChecks) return guardAgainstStall();
  fail(ownError(GStreamerFilePlayers::StoodStill, "stood still for 10 seconds"));
}

void Player::onEnd(const Pipeline::End& end) {
  if (!end.error) return finish();
  if (end.inSink) {
    const bool wasPlaying = playing_;
    unload(heard());
    if (goOnSilently() && !load() && (!wasPlaying || play())) return;
  }
  fail(*end.error);
}

/// Swaps the failed device for silence; false when silence is what failed.
bool Player::goOnSilently() {
  if (std::exchange(silent_, true)) return false;
  log(LogLevel::Warning, "The sound device failed: this track goes on without sound.");
  forgetDevice();
  pipeline_.useSink(makeSilentSink());
  return true;
}

/// The pipeline's own position is no help: at the end it may claim the whole length.
bool Player::endedEarly() const {
  if (source_->shrunk()) return true;
  if (estimated_) return false;
  const Time reached = std::max(pipeline_.decodedUpTo(), rest_);
  return reached + 250ms + length() / 50 < length();
}

void Player::finish() {
  const bool early = endedEarly();
  unload(Time::zero());
  const auto report = observer_.audioPlayerDidFinishPlaying_successfully;
  if (report) report(*this, !early);
}

// By value: unloading may destroy what the error came from.
void Player::fail(Error error) {
  unload(heard());
  const auto report = observer_.audioPlayerDecodeErrorDidOccur_error;
  if (report) report(*this, error);
}

}  // namespace vantrel::backends::gstreamer::detail
