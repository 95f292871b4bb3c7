#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "vantrel/base/Error.h"
#include "vantrel/base/Export.h"
#include "vantrel/base/Result.h"

namespace vantrel {

class FilePlayer;

/// What a file player reports, always from the main run loop, never from inside a call of the player. A
/// member left empty is not reported.
struct FilePlayerObserver {
  std::function<void(FilePlayer&, bool successfully)> audioPlayerDidFinishPlaying_successfully;
  std::function<void(FilePlayer&, const Error&)> audioPlayerDecodeErrorDidOccur_error;
  std::function<void(FilePlayer&)> audioPlayerBeginInterruption;
  std::function<void(FilePlayer&)> audioPlayerEndInterruption;
  std::function<void(FilePlayer&, std::uint64_t options)> audioPlayerEndInterruption_withOptions;
};

/// Plays one audio file. Made by a `FilePlayerFactory`; owned by whoever asked for it; destroying it stops
/// it. Threads: the main thread only.
class VANTREL_EXPORT FilePlayer {
 public:
  virtual ~FilePlayer() = default;

  /// Gets ready to play without delay. False when that fails.
  virtual bool prepareToPlay() = 0;

  /// Starts, or goes on from the current time. After the end of the track it starts at 0. False when it
  /// cannot.
  virtual bool play() = 0;

  /// Stops sound and keeps the position.
  virtual void pause() = 0;

  /// Stops and releases what playing needs; the position stays.
  virtual void stop() = 0;

  virtual bool playing() const = 0;

  /// Seconds from the start; setting one seeks (clamped to the track), also while playing.
  virtual double currentTime() const = 0;
  virtual void setCurrentTime(double seconds) = 0;

  /// Length in seconds; 0 when unknown.
  virtual double duration() const = 0;

  /// This player's own volume, 0 to 1.
  virtual float volume() const = 0;
  virtual void setVolume(float volume) = 0;

  /// Level metering is off at first.
  virtual void setMeteringEnabled(bool enabled) = 0;

  /// Takes the levels of what is heard at this moment, for `averagePowerForChannel`.
  virtual void updateMeters() = 0;

  /// 0 until known.
  virtual std::size_t numberOfChannels() const = 0;

  /// Decibels of the last `updateMeters`: 0 at full scale, -160 for silence and for a channel that is not
  /// there.
  virtual float averagePowerForChannel(std::size_t channel) const = 0;

  /// Receives the reports; replaced by each call. The observer's functions must not outlive what they
  /// capture.
  virtual void setObserver(FilePlayerObserver observer) = 0;
};

/// Opens audio files. What cannot be opened gives the reason, with a text for people: the file is missing or
/// is no regular file, the system refuses to read it, it holds no audio, or nothing here decodes that audio.
/// The player of a result is never null.
/// Opening reads enough to know channels and length; it returns within a few seconds whatever the source.
/// Threads: the main thread only.
class VANTREL_EXPORT FilePlayerFactory {
 public:
  virtual ~FilePlayerFactory() = default;

  /// `url` is an address ("file:///music/a.ogg") or a plain absolute path.
  virtual Result<std::unique_ptr<FilePlayer>> openUrl(const std::string& url) = 0;

  /// `path` is a path as the system takes it, absolute or relative to the working folder. The player reads
  /// the file as it was named at this moment, also when it is renamed or deleted later.
  virtual Result<std::unique_ptr<FilePlayer>> openFile(const std::string& path) = 0;
};

}  // namespace vantrel
