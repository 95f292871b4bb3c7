#pragma once

#include <memory>

#include "vantrel/base/Export.h"
#include "vantrel/base/ValueTree.h"
#include "vantrel/host/seams/MusicLibrary.h"

namespace vantrel {

/// Where the system shows what plays. Threads: the main thread only.
class VANTREL_EXPORT NowPlayingCenter {
 public:
  virtual ~NowPlayingCenter() = default;

  /// Replaces what is shown. `info` is a dictionary under the platform's key names
  /// ("MPMediaItemPropertyTitle", ...); the cover, which no value can hold, comes beside it and is null when
  /// there is none.
  virtual void setNowPlayingInfo(const ValueTree& info, std::shared_ptr<const Artwork> artwork) = 0;
};

}  // namespace vantrel
