#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "vantrel/base/Error.h"
#include "vantrel/base/Export.h"

namespace vantrel {

/// A length or position in a stream as a fraction: `value` / `timescale` seconds; timescale 0 means unknown.
struct MediaTime {
  std::int64_t value = 0;
  std::int32_t timescale = 0;

  double seconds() const { return timescale == 0 ? 0 : static_cast<double>(value) / timescale; }
};

/// A part of a stream that is loaded, in seconds.
struct LoadedTimeRange {
  double start = 0;
  double length = 0;
};

/// What the current item of a stream player tells, always from the main run loop. A member left empty is not
/// told.
struct StreamItemObserver {
  std::function<void()> statusChanged;
  std::function<void()> loadedTimeRangesChanged;
  std::function<void()> playbackBufferEmptyChanged;
  std::function<void()> playbackLikelyToKeepUpChanged;
};

/// The event that a stream player posts when its item has played to its end.
inline constexpr std::string_view kItemDidPlayToEndNotification = "AVPlayerItemDidPlayToEndTimeNotification";

/// Plays one network stream at a time. Made by a `StreamPlayerFactory`, owned by its user. When an item has
/// played to its end the player posts `kItemDidPlayToEndNotification` on the notification bus, from the main
/// run loop. Threads: the main thread only.
class VANTREL_EXPORT StreamPlayer {
 public:
  enum class ItemStatus : std::int32_t { Unknown = 0, ReadyToPlay = 1, Failed = 2 };

  virtual ~StreamPlayer() = default;

  /// Opens the address (percent-encoded) as the current item in place of the one before; does not play it.
  virtual void replaceCurrentItem(const std::string& url) = 0;

  virtual void play() = 0;
  virtual void pause() = 0;
  virtual float volume() const = 0;
  virtual void setVolume(float volume) = 0;

  /// Whether `play` waits by itself until enough is loaded.
  virtual void setAutomaticallyWaitsToMinimizeStalling(bool waits) = 0;

  /// Of the current item.
  virtual ItemStatus itemStatus() const = 0;

  /// Why the item has failed, with a text for people ("no such host"); absent when it has not.
  virtual std::optional<Error> itemError() const = 0;

  virtual MediaTime itemDuration() const = 0;
  virtual std::vector<LoadedTimeRange> loadedTimeRanges() const = 0;
  virtual double currentTime() const = 0;

  /// Receives what the current item tells; replaced by each call, ended by an empty one.
  virtual void setItemObserver(StreamItemObserver observer) = 0;

  /// Calls `tick` with the current time in seconds every `interval` seconds of playing; ended by an empty
  /// one.
  virtual void setPeriodicTimeObserver(double interval, std::function<void(double seconds)> tick) = 0;
};

/// Makes stream players. Threads: the main thread only.
class VANTREL_EXPORT StreamPlayerFactory {
 public:
  virtual ~StreamPlayerFactory() = default;

  /// A player without an item; null when there can be none.
  virtual std::unique_ptr<StreamPlayer> make() = 0;
};

}  // namespace vantrel
