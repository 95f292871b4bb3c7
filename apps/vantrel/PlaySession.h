#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "apps/vantrel/LiveLine.h"
#include "apps/vantrel/Terminal.h"
#include "vantrel/loop/NotificationBus.h"
#include "vantrel/loop/Timer.h"
#include "vantrel/player/KWAudioPlayer.h"

namespace app {

struct PlayOptions {
  std::optional<std::uint64_t> mode;
  std::optional<std::int64_t> start;
  std::optional<double> seconds;
  bool resume = false;
  bool json = false;
  bool live = false;  ///< one line that is drawn over and over, instead of a line for each event
};

/// Plays one list on the shared file player until its end, a key, a signal or the end of its time. One a
/// process; main thread only.
class PlaySession {
 public:
  explicit PlaySession(const PlayOptions& options);

  /// Gives the exit status: `kFailed` when nothing could be played.
  int run(const vantrel::MusicList& list);

  /// Signals that a session answers; to be blocked before there are other threads.
  static void blockSignals();

 private:
  void start(const vantrel::MusicList& list);
  void finish();
  void end();
  void loseOutput();

  void onEvent(const vantrel::Notification& event);
  void printEvent(const vantrel::Notification& event);
  void noteEntryStarted();
  void noteFailure();

  void onKey(char key);
  void onSignal(int signal);
  void stopAsJob(int signal);
  void changeVolume(float by);

  bool isOpen() const;
  void enterTerminal();
  void leaveTerminal();
  void followState();
  void draw();
  void tell(const std::string& text);

  PlayOptions options_;
  std::shared_ptr<vantrel::KWAudioPlayer> player_;
  vantrel::NotificationBus::Subscription events_;
  std::shared_ptr<vantrel::Timer> redraw_;
  KeyInput keys_;
  bool unicode_ = false;
  bool drawing_ = false;  // the live line is ours to draw: the program is in the foreground

  bool ended_ = false;
  bool listEnded_ = false;  // by itself, so that nothing is left to go on with
  bool outputLost_ = false;
  bool anythingPlayed_ = false;
  bool entryOpened_ = false;  // the current entry could be opened, and decoded so far
  int endedBySignal_ = 0;
};

}  // namespace app
