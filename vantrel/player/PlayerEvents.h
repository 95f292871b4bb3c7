#pragma once

#include <cstdint>
#include <string_view>

/// What the players and a program say to each other, by name: events, their values, settings and numbers.
///
///   player->setMMode(player::ListOnce);
///   KWNotice::add_Action_Own(player::kNote, [](const Notification& event) {
///     if (event.object->asString() == player::kNoteFinish) startAgain();
///   }, self);
namespace vantrel::player {

// ---- events on the notification bus; what each carries is its object

/// What the player has just done: one of the five texts below.
inline constexpr std::string_view kNote = "KW_AU_NOTE";
inline constexpr std::string_view kNotePlay = "KW_PLAY";          ///< an entry has started
inline constexpr std::string_view kNoteContinue = "KW_CONTINUE";  ///< goes on after a pause
inline constexpr std::string_view kNotePause = "KW_PAUSE";
inline constexpr std::string_view kNoteFinish = "KW_FINISH";  ///< the last entry of list once has ended
inline constexpr std::string_view kNoteError = "KW_ERROR";    ///< the track can be decoded no further

/// At the end of every `didPlay`: another entry is the current one. No object.
inline constexpr std::string_view kUpdate = "KW_UPDATE";

/// Every second while a file plays, and at every play time report of a stream: a dictionary of the three
/// below.
inline constexpr std::string_view kProgress = "KW_AU_PROGRESS";
inline constexpr std::string_view kProgressNow = "TIME_NOW";       ///< text, "mm:ss" or "h:mm:ss"
inline constexpr std::string_view kProgressEnd = "TIME_END";       ///< the length, likewise
inline constexpr std::string_view kProgressFraction = "PROGRESS";  ///< number, 0 at the start, 1 at the end

/// For streams, one after the other: the fraction of the stream that was buffered per second since the last
/// report, and the seconds since then.
inline constexpr std::string_view kNetSpeed = "KW_AU_NET_SPEED";
inline constexpr std::string_view kNetTimeGap = "KW_AU_NET_TIMEGAP";

/// The system's output volume has changed: the new one, 0 to 1.
inline constexpr std::string_view kVolumeChange = "KW_AU_VOLUME_CHANGE";

/// Something else takes the sound, and gives it back. The third carries the options as a number, the others
/// nothing. The program pauses and resumes with `didPauseLast` and `didContinueLast`.
inline constexpr std::string_view kInterruption = "KWAudioPlayer_PLAYER_INTERRUPTION";
inline constexpr std::string_view kInterruptionEnd = "KWAudioPlayer_PLAYER_INTERRUPTION_END";
inline constexpr std::string_view kInterruptionEndFlag = "KWAudioPlayer_PLAYER_INTERRUPTION_END_FLAG";

// ---- settings, each a text

inline constexpr std::string_view kPlayIndexKey = "KW_AUDIO_PLAYINDEX";        ///< `getPlayIndex`
inline constexpr std::string_view kPlayProgressKey = "KW_AUDIO_PLAYPROGRESS";  ///< `getPlayProgress`
inline constexpr std::string_view kPlayModeKey = "KW_AUDIO_PLAYMODE";          ///< `getPlayMode`

// ---- numbers; the enumerators convert to them

/// `KWAudioPlayer::mMode`.
enum PlayMode : std::uint64_t {
  ListLoop = 0,
  RepeatOne = 1,
  Shuffle = 2,
  ListOnce = 3,
};

/// `KWAudioPlayer::mState`, and `didLastState`.
enum PlayState : std::uint64_t {
  Stopped = 0,
  Playing = 1,
  Paused = 2,  ///< or, for a stream, waiting
};

/// `KWAudioPlayer::mType`, and `currentType`.
enum SourceType : std::uint64_t {
  Library = 0,   ///< `sharedMe`
  Files = 1,     ///< `sharedMe_1`
  Streams = 2,   ///< `sharedMe_2`
  NoSource = 3,  ///< of `currentType` only: nothing has played yet
};

/// Errors that the players themselves tell, in the domain `kErrorDomain`.
inline constexpr const char* kErrorDomain = "vantrel.player";
enum ErrorCode : std::int64_t {
  NothingToOpen = 1,   ///< the entry has no path or no address
  HostCannotPlay = 2,  ///< the host has no players for files or for streams
  NoLength = 3,        ///< the track can be opened, but its length is not known: it is passed over
};

}  // namespace vantrel::player
