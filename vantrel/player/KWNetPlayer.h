#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "vantrel/base/Date.h"
#include "vantrel/base/Error.h"
#include "vantrel/base/Export.h"
#include "vantrel/base/TextArgument.h"
#include "vantrel/base/ValueTree.h"
#include "vantrel/host/seams/StreamPlayer.h"
#include "vantrel/loop/NotificationBus.h"

namespace vantrel {

class KWNetPlayer;

/// What a `KWNetPlayer` reports, on the main thread. A member left empty is an operation that the observer
/// does not implement: the report is skipped together with what it would have stored.
struct KWNetPlayerDelegate {
  /// The status changed; see `KWNetPlayer::status`.
  std::function<void(KWNetPlayer&, std::uint64_t status)> onKWNetPlayer_ChangeStatus;

  /// The buffered fraction of the stream, 0 to 1; infinite or not a number while the length is unknown.
  std::function<void(KWNetPlayer&, float fraction)> onKWNetPlayer_CachedProgress;

  /// Buffered fraction gained per second since the previous buffer report, and the seconds between the two.
  std::function<void(KWNetPlayer&, float speed, double gap)> onKWNetPlayer_Speed_TimeGap;

  /// Elapsed play time in seconds.
  std::function<void(KWNetPlayer&, float seconds)> onKWNetPlayer_PlayTime;

  /// The stream has played to its end; the value is always 0.
  std::function<void(KWNetPlayer&, float zero)> onKWNetPlayer_PlayFinished;
};

/// Plays one audio stream from a network address at a time, and decides when enough is buffered to play.
///
/// The stream itself is played by a `StreamPlayer` of `Host::current().streamPlayers`, made for the first
/// address and used again for later ones. `didPlayUrl` opens an address; sound starts by itself when the item
/// is likely to keep up and either everything is loaded or what is loaded ahead of the play position is at
/// least 0.01 of the whole. When it is less, the player pauses and tries once more 3 seconds later. A status
/// is reported only when it differs from the last one stored.
///
/// Threads: the main thread only; every report arrives there. Reports come from inside the operations below
/// or from the main run loop; a report may call any operation and may let the player go.
/// Ownership: the delegate is not owned and must outlive the player or be taken back with
/// `setDelegate(nullptr)`. A pending retry keeps the player alive until it has run.
class VANTREL_EXPORT KWNetPlayer : public std::enable_shared_from_this<KWNetPlayer> {
 public:
  /// What `status` tells; the enumerators convert to its numbers.
  enum Status : std::uint64_t {
    Waiting = 0,  ///< the buffer ran empty
    Playing = 1,
    Paused = 2,  ///< by the host, for want of data, or because the item is not ready or has failed
    Stopped = 3,
  };

  /// A player with status `Waiting` and every other field zero or absent. It listens from now on to the end
  /// of any stream player's item in the process (`kItemDidPlayToEndNotification` on the bus).
  static std::shared_ptr<KWNetPlayer> init();

  ~KWNetPlayer();
  KWNetPlayer(const KWNetPlayer&) = delete;
  KWNetPlayer& operator=(const KWNetPlayer&) = delete;

  /// Opens the address (not percent-encoded) in place of the current one and wants it to play. `status`
  /// becomes `Stopped` without a report; the play times and the buffered fraction become 0.
  /// An absent or empty address, or a host without stream players, counts as an item that has failed: nothing
  /// is opened, and `Paused` is reported by the main run loop's next turn.
  void didPlayUrl(TextArgument url);

  /// Why the current item has failed, or why there is none; absent when it has not failed and before the
  /// first address.
  std::optional<Error> itemError() const;

  /// Plays on; reports `Playing`.
  void didContinue();

  /// Pauses; reports `Paused`. A pending retry then does nothing.
  void didPause();

  /// Pauses, reports `Stopped` and stops observing the item.
  void didStop();

  /// The stream player's own volume, 0 to 1. Without a stream player (before the first address) setting does
  /// nothing and reading gives 0.
  void setVolume(float volume);
  float getVolume() const;

  /// Ends the play time reports and the observation of the item; nothing happens when there is none.
  void clearObservers();

  /// What the item's observation calls with "status", "loadedTimeRanges", "playbackBufferEmpty" or
  /// "playbackLikelyToKeepUp". Other keys do nothing. Only the key is read; values come from `mPlayer`.
  void observeValueForKeyPath_ofObject_change_context(TextArgument keyPath, const StreamPlayer* object,
                                                      const ValueTree* change, const void* context);

  /// The end of a stream: logs "KWNetplayer finished.", reports `Stopped`, then the end.
  void playbackFinished(const Notification& event);

  /// The reporting steps. Status: only when `status` differs. Buffer: speed and gap, then the fraction.
  void delegateOutStatus(std::uint64_t status);
  void delegateOutCachedProgress(float fraction);
  void delegateOutPlayTime(float seconds);
  void delegateOutPlayFinished();

  /// The current address as it was opened, percent-encoded; absent when nothing could be opened.
  const std::optional<std::string>& mAvsset() const { return mAvsset_; }

  /// The current item, by its address; absent when there is none. Setting it opens nothing.
  const std::optional<std::string>& mSongItem() const { return mSongItem_; }
  void setMSongItem(TextArgument item) { mSongItem_ = item.copy(); }

  /// The stream player; null before the first address. Setting one does not move the observers to it.
  const std::shared_ptr<StreamPlayer>& mPlayer() const { return mPlayer_; }
  void setMPlayer(std::shared_ptr<StreamPlayer> player) { mPlayer_ = std::move(player); }

  KWNetPlayerDelegate* delegate() const { return delegate_; }
  void setDelegate(KWNetPlayerDelegate* delegate) { delegate_ = delegate; }

  /// The last status reported, a `Status`.
  std::uint64_t status() const { return status_; }
  void setStatus(std::uint64_t status) { status_ = status; }

  /// Buffered fraction of the stream, 0 to 1.
  float time_cached() const { return time_cached_; }
  void setTime_cached(float fraction) { time_cached_ = fraction; }

  /// Length of the stream in whole seconds; 0 until known.
  float time_total() const { return time_total_; }
  void setTime_total(float seconds) { time_total_ = seconds; }

  /// Elapsed play time in seconds.
  float time_play() const { return time_play_; }
  void setTime_play(float seconds) { time_play_ = seconds; }

  /// Whether play time reports are installed, and whether the item is observed.
  bool mTimeObserve() const { return mTimeObserve_; }
  bool isOber() const { return isOber_; }

  /// 1 while the host wants the stream to play, else 0.
  std::int32_t isPlay() const { return isPlay_; }

  /// When the previous buffer report was made or the address opened, and the fraction it told.
  Date dw_l_time() const { return dw_l_time_; }
  float dw_pgs() const { return dw_pgs_; }

 private:
  KWNetPlayer() = default;
  void openItem(const std::optional<std::string>& address);
  std::optional<Error> prepareItem(const std::optional<std::string>& address);
  void installObservers();
  void failItemLater();
  void itemStatusChanged();
  void loadedTimeRangesChanged();
  void likelyToKeepUpChanged();
  bool enoughBuffered() const;
  void retryLater();
  void playIfWanted();
  void play();
  void pause();

  std::optional<std::string> mAvsset_;
  bool mTimeObserve_ = false;
  bool isOber_ = false;
  std::int32_t isPlay_ = 0;
  Date dw_l_time_;
  float dw_pgs_ = 0;
  float time_cached_ = 0;
  float time_total_ = 0;
  float time_play_ = 0;
  std::shared_ptr<StreamPlayer> mPlayer_;
  std::optional<std::string> mSongItem_;
  std::optional<Error> openError_;  // there is no item
  KWNetPlayerDelegate* delegate_ = nullptr;
  std::uint64_t status_ = 0;
  std::uint64_t opened_ = 0;  // counts addresses, so that a late failure of an earlier one is known
};

}  // namespace vantrel
