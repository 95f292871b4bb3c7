#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "vantrel/base/Export.h"
#include "vantrel/base/Result.h"
#include "vantrel/host/seams/FilePlayer.h"

namespace vantrel::backends {

/// Plays audio files through GStreamer: WAV, MP3, Ogg Vorbis, FLAC, AAC (M4A and ADTS) and whatever else the
/// installed plug-ins decode. The base and good plug-in sets are needed, the libav one for AAC.
///
/// Opening: regular local files only, so that a FIFO or a device can block nobody. The file is decoded up to
/// its first sound, for at most 3 seconds; what is missing, empty, no audio, or takes longer gives the
/// reason. Of a row of frames without an index (AAC in ADTS, MP3 of some encoders) at most 32 MiB are
/// counted; the length of a longer one is an estimate, which grows when the track turns out to be longer.
///
/// Reading: in pieces, as they are needed, on threads of its own; a track takes the same memory whatever its
/// length. The file stays open as long as the player lives, so renaming or deleting it changes nothing. A
/// file that is cut off while it plays ends the track where it now ends, with `successfully` false; one that
/// can no longer be read is a decode error.
///
/// Sound: the device is picked when it is first needed. `VANTREL_AUDIO_SINK` may name the GStreamer sink to
/// use ("pulsesink", "fakesink"). Without a device, tracks play in real time into nothing, which is logged
/// once per process. A device that fails is logged, and that track goes on into nothing. The next track tries
/// again, and sounds when there is a device.
///
/// Position and length: at the end of the track the position goes back to 0. `successfully` is false when the
/// end came more than 0.25 s plus 2 % of a known length too early, as in a file that was cut off before. A
/// track that stands still for 10 seconds while it should play ends with a decode error (`StoodStill`).
///
/// Errors have a text for people that reads well behind the name of the file ("no audio in it"). Those that
/// the system tells are the system's; those that GStreamer tells carry its domain and code; the others have
/// `kErrorDomain` and an `ErrorCode`.
///
/// Levels: the root mean square of each channel over 50 ms, before this player's own volume; a sine at full
/// scale reads -3.01. -160 while nothing plays.
///
/// Interruptions are not reported: the desktop has none.
///
/// Threads: the main thread only, as with every file player. The threads that GStreamer and the sound library
/// start for it leave the process's signals to others. GStreamer is started by the first opening, which
/// takes about a third of a second the first time a user ever runs it.
class VANTREL_EXPORT GStreamerFilePlayers : public FilePlayerFactory {
 public:
  static constexpr const char* kErrorDomain = "vantrel.gstreamer";
  enum ErrorCode : std::int64_t {
    StoodStill = 1,     ///< sound stopped in the middle of a track, and stayed away for 10 seconds
    TookTooLong = 2,    ///< no sound within 3 seconds of opening
    NoAudio = 3,        ///< an empty file, a text, a film without sound, no known format
    NotAFile = 4,       ///< a pipe, a device, the address of something that is no local file
    PluginMissing = 5,  ///< a decoder or another part of GStreamer is not installed
    Refused = 6,        ///< by GStreamer, which does not say why
  };

  Result<std::unique_ptr<FilePlayer>> openUrl(const std::string& url) override;
  Result<std::unique_ptr<FilePlayer>> openFile(const std::string& path) override;
};

}  // namespace vantrel::backends
