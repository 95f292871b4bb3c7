#pragma once

#include <memory>
#include <string_view>

#include "vantrel/base/Export.h"
#include "vantrel/base/ValueTree.h"
#include "vantrel/host/seams/MusicLibrary.h"

namespace vantrel {

/// The entries of what is shown: texts, then numbers, times in seconds.
inline constexpr std::string_view kNowPlayingTitle = "MPMediaItemPropertyTitle";
inline constexpr std::string_view kNowPlayingArtist = "MPMediaItemPropertyArtist";
inline constexpr std::string_view kNowPlayingAlbumTitle = "MPMediaItemPropertyAlbumTitle";
inline constexpr std::string_view kNowPlayingDuration = "MPMediaItemPropertyPlaybackDuration";
inline constexpr std::string_view kNowPlayingElapsed = "MPNowPlayingInfoPropertyElapsedPlaybackTime";
inline constexpr std::string_view kNowPlayingRate =
    "MPNowPlayingInfoPropertyPlaybackRate";  ///< 1: as recorded

/// Where the system shows what plays. Threads: the main thread only.
class VANTREL_EXPORT NowPlayingCenter {
 public:
  virtual ~NowPlayingCenter() = default;

  /// Replaces what is shown. `info` is a dictionary of the entries above; the cover, which no value can hold,
  /// comes beside it and is null when there is none.
  virtual void setNowPlayingInfo(const ValueTree& info, std::shared_ptr<const Artwork> artwork) = 0;
};

}  // namespace vantrel
