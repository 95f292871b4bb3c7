#pragma once

#include <cstdint>
#include <string_view>

/// Names and values that the files of the player share.
namespace vantrel::player::detail {

inline constexpr std::string_view kNote = "KW_AU_NOTE";
inline constexpr std::string_view kNotePlay = "KW_PLAY";
inline constexpr std::string_view kNoteContinue = "KW_CONTINUE";
inline constexpr std::string_view kNotePause = "KW_PAUSE";
inline constexpr std::string_view kNoteFinish = "KW_FINISH";
inline constexpr std::string_view kNoteError = "KW_ERROR";
inline constexpr std::string_view kUpdate = "KW_UPDATE";
inline constexpr std::string_view kProgress = "KW_AU_PROGRESS";
inline constexpr std::string_view kNetSpeed = "KW_AU_NET_SPEED";
inline constexpr std::string_view kNetTimeGap = "KW_AU_NET_TIMEGAP";
inline constexpr std::string_view kVolumeChange = "KW_AU_VOLUME_CHANGE";
inline constexpr std::string_view kInterruption = "KWAudioPlayer_PLAYER_INTERRUPTION";
inline constexpr std::string_view kInterruptionEnd = "KWAudioPlayer_PLAYER_INTERRUPTION_END";
inline constexpr std::string_view kInterruptionEndFlag = "KWAudioPlayer_PLAYER_INTERRUPTION_END_FLAG";

inline constexpr const char* kPlayIndexKey = "KW_AUDIO_PLAYINDEX";
inline constexpr const char* kPlayProgressKey = "KW_AUDIO_PLAYPROGRESS";
inline constexpr const char* kPlayModeKey = "KW_AUDIO_PLAYMODE";

enum Source : std::uint64_t { kLibrary = 0, kFiles = 1, kStreams = 2 };
enum State : std::uint64_t { kStopped = 0, kPlaying = 1, kPaused = 2 };
enum Mode : std::uint64_t { kListLoop = 0, kRepeatOne = 1, kShuffle = 2, kListOnce = 3 };

}  // namespace vantrel::player::detail
