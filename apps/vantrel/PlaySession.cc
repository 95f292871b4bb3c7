#include "apps/vantrel/PlaySession.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <filesystem>
#include <system_error>

#include "apps/vantrel/Command.h"
#include "apps/vantrel/EventLines.h"
#include "apps/vantrel/Output.h"
#include "apps/vantrel/Remembered.h"
#include "vantrel/host/Host.h"
#include "vantrel/loop/RunLoop.h"
#include "vantrel/system/KWTime.h"

namespace app {
namespace {

using vantrel::KWAudioPlayer;
using vantrel::RunLoop;
namespace player = vantrel::player;

constexpr auto kRedrawInterval = std::chrono::milliseconds(100);
constexpr float kVolumeStep = 0.05F;

constexpr auto kSignals = {SIGINT, SIGQUIT, SIGTERM, SIGHUP, SIGTSTP, SIGCONT, SIGWINCH};

std::string timeText(double seconds) {
  const double whole = std::isfinite(seconds) ? std::clamp(seconds, 0.0, 4294967295.0) : 0;
  return vantrel::KWTime::stringFromSec(static_cast<std::uint32_t>(whole));
}

std::string titleOf(const KWAudioPlayer& player) {
  const auto entry = player.mNowItem();
  return entry ? entry->mTitle().value_or("") : "";
}

bool isThere(const KWAudioPlayer& player) {
  const auto entry = player.mNowItem();
  std::error_code error;
  return entry && entry->mPath() && std::filesystem::exists(*entry->mPath(), error);
}

vantrel::ValueTree trackOf(const KWAudioPlayer& player) {
  const auto entry = player.mNowItem();
  return vantrel::ValueTree::dictionary({{"index", player.play_index()},
                                         {"count", player.sonyCount()},
                                         {"path", nameAsJson(entry ? entry->mPath().value_or("") : "")}});
}

}  // namespace

PlaySession::PlaySession(const PlayOptions& options)
    : options_(options), keys_([this](char key) { onKey(key); }), unicode_(outputShowsUnicode()) {}

void PlaySession::blockSignals() { SignalWatch::block(kSignals); }

int PlaySession::run(const vantrel::MusicList& list) {
  RunLoop& loop = RunLoop::main();
  const SignalWatch signals(kSignals, [this](int signal) { onSignal(signal); });
  events_ = vantrel::NotificationBus::shared().addForAll(
      [this](const vantrel::Notification& event) { onEvent(event); });
  enterTerminal();
  start(list);
  if (options_.seconds)
    loop.at(loop.clock().now() + vantrel::durationOfSeconds(*options_.seconds), [this] { end(); });
  if (!ended_) loop.run();
  finish();
  if (endedBySignal_ != 0) {
    finishOutput(kFailed);
    SignalWatch::takeDefault(endedBySignal_);
  }
  return anythingPlayed_ ? kDone : kFailed;
}

/// The settings are read before anything plays, for playing writes them.
void PlaySession::start(const vantrel::MusicList& list) {
  Remembered from = options_.resume ? remembered() : Remembered{};
  if (options_.start) from.index = *options_.start;
  rememberListEnd(false);
  if (from.index < 0 || from.index >= static_cast<std::int64_t>(list.size())) {
    tell("the remembered track " + std::to_string(from.index) +
         " is not in this list: starting with the first");
    from.index = 0;
    from.progress = 0;
  }
  player_ = KWAudioPlayer::sharedMeByPaths(list);
  player_->setOnListEnded([this] {
    listEnded_ = true;
    end();
  });
  player_->setMMode(options_.mode.value_or(from.mode));
  player_->didPlay(from.index);
  // A track that was heard to its end starts over.
  if (isOpen() && from.progress > 0 && from.progress < 1)
    player_->mPlayer()->setCurrentTime(from.progress * player_->mPlayer()->duration());
  // Playing stores the index of the player that played last before, which in a new process is another one.
  KWAudioPlayer::savePlayIndex();
  followState();
}

void PlaySession::finish() {
  const bool hasPosition = entryOpened_ && isOpen();
  anythingPlayed_ = anythingPlayed_ || entryOpened_;
  ended_ = true;
  if (hasPosition && player_->mState() != player::Stopped) player_->progressShow();
  player_->didStop();
  player_->setOnListEnded({});
  KWAudioPlayer::savePlayIndex();
  // Where nothing played because the files were out of reach, the place stays where it was.
  rememberListEnd(listEnded_ && (anythingPlayed_ || isThere(*player_)));
  leaveTerminal();
  player_->setMPlayer(nullptr);
  events_ = {};
  if (redraw_) redraw_->invalidate();
  if (!anythingPlayed_ && !outputLost_) message("nothing could be played");
  const auto written = vantrel::Host::current().settings->synchronize();
  if (!written) message("cannot write the settings: " + written.error().description());
}

void PlaySession::end() {
  ended_ = true;
  RunLoop::main().stop();
}

/// Without anyone to read what it prints the program ends; nobody needs to be told.
void PlaySession::loseOutput() {
  outputLost_ = true;
  end();
}

void PlaySession::onEvent(const vantrel::Notification& event) {
  if (!RunLoop::main().isCurrent()) return;
  printEvent(event);
  if (player_ == nullptr || ended_) return;
  const auto note = event.object != nullptr ? event.object->asString() : std::nullopt;
  if (event.name == player::kUpdate) noteEntryStarted();
  if (event.name == player::kNote && note == player::kNoteError) noteFailure();
  followState();
}

void PlaySession::printEvent(const vantrel::Notification& event) {
  if (options_.live) return;
  const bool started = event.name == player::kUpdate && player_ != nullptr;
  std::string line;
  if (options_.json) {
    line = jsonLineOf(event, started ? std::optional(trackOf(*player_)) : std::nullopt);
  } else {
    line = textLineOf(event);
    if (started)
      line += " " + std::to_string(player_->play_index() + 1) + "/" + std::to_string(player_->sonyCount()) +
              " " + escaped(titleOf(*player_));
  }
  if (!writeLine(line) || !flushOutput()) loseOutput();
}

void PlaySession::noteEntryStarted() {
  anythingPlayed_ = anythingPlayed_ || entryOpened_;
  entryOpened_ = true;
  if (player_->trackError()) noteFailure();
}

void PlaySession::noteFailure() {
  entryOpened_ = false;
  if (const auto error = player_->trackError()) tell(titleOf(*player_) + ": " + error->description());
}

void PlaySession::onKey(char key) {
  switch (key) {
    case ' ':
      if (player_->mState() == player::Playing)
        player_->didPause();
      else
        player_->didContinue();
      break;
    case 'n':
      player_->didNext();
      break;
    case 'b':
    case 'p':
      player_->didBefore();
      break;
    case 'm':
      player_->setMMode((player_->mMode() + 1) % (player::ListOnce + 1));
      break;
    case '+':
    case '=':
      changeVolume(kVolumeStep);
      break;
    case '-':
      changeVolume(-kVolumeStep);
      break;
    case 'q':
    case '\x04':
      end();
      break;
    default:
      return;
  }
  followState();
}

void PlaySession::changeVolume(float by) {
  player_->setPhoneVolume(std::clamp(KWAudioPlayer::getPhoneVolume() + by, 0.0F, 1.0F));
}

void PlaySession::onSignal(int signal) {
  switch (signal) {
    case SIGTSTP:
      stopAsJob(signal);
      break;
    case SIGCONT:
      if (!inForeground()) leaveTerminal();
      enterTerminal();
      followState();
      break;
    case SIGWINCH:
      draw();
      break;
    default:
      endedBySignal_ = signal;
      end();
  }
}

/// The sound would run on in the devices' buffers and skip when the process goes on, so it pauses too.
void PlaySession::stopAsJob(int signal) {
  const bool played = player_->mState() == player::Playing;
  if (played) player_->didPause();
  leaveTerminal();
  SignalWatch::takeDefault(signal);
  enterTerminal();
  if (played) player_->didContinue();
  followState();
}

bool PlaySession::isOpen() const { return player_->mPlayer() != nullptr && !player_->trackError(); }

void PlaySession::enterTerminal() {
  keys_.enter();
  if (!options_.live || !inForeground()) return;
  drawing_ = true;
  write("\033[?25l");
  draw();
}

void PlaySession::leaveTerminal() {
  keys_.leave();
  if (drawing_ && inForeground()) {
    draw();
    write("\n\033[?25h");
    flushOutput();
  }
  drawing_ = false;
}

/// Draws, and goes on drawing only while something moves.
void PlaySession::followState() {
  if (!drawing_ || player_ == nullptr) return;
  draw();
  if (!redraw_) redraw_ = vantrel::Timer::repeating(kRedrawInterval, [this](vantrel::Timer&) { draw(); });
  if (player_->mState() == player::Playing)
    redraw_->setNextFire(RunLoop::main().clock().now() + kRedrawInterval);
  else
    redraw_->suspend();
}

void PlaySession::draw() {
  if (!drawing_ || player_ == nullptr) return;
  Playing playing;
  playing.title = titleOf(*player_);
  playing.state = player_->mState();
  playing.mode = player_->mMode();
  playing.position = player_->play_index();
  playing.count = player_->sonyCount();
  playing.volume = KWAudioPlayer::getPhoneVolume();
  double now = 0;
  double end = 0;
  if (const auto& file = player_->mPlayer()) {
    now = file->currentTime();
    end = file->duration();
    file->updateMeters();
    for (std::size_t channel = 0; playing.state == player::Playing && channel < file->numberOfChannels();
         ++channel)
      playing.decibels.push_back(file->averagePowerForChannel(channel));
  }
  playing.now = timeText(now);
  playing.end = timeText(end);
  playing.fraction = end > 0 ? now / end : 0;
  const LineStyle style{terminalColumns(), unicode_, stylesWanted()};
  if (!write("\r" + liveLine(playing, style) + "\033[K") || !flushOutput()) loseOutput();
}

/// A message in place of the live line, which is drawn again below it.
void PlaySession::tell(const std::string& text) {
  if (drawing_) {
    write("\r\033[K");
    flushOutput();
  }
  message(text);
  draw();
}

}  // namespace app
