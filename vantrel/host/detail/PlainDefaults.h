#pragma once

#include <vector>

#include "vantrel/host/seams/AudioSession.h"
#include "vantrel/host/seams/MusicLibrary.h"

/// What stands behind a seam that the host left empty.
namespace vantrel::host::detail {

/// A volume that drives nothing: starts at 1, clamps to 0 to 1, and refuses what is not a number.
class RememberedVolume final : public AudioSession {
 public:
  float outputVolume() const override { return volume_; }
  bool setOutputVolume(float volume) override;

 private:
  float volume_ = 1;
};

class EmptyMusicLibrary final : public MusicLibrary {
 public:
  std::vector<std::shared_ptr<const MediaItem>> songs() override { return {}; }
};

}  // namespace vantrel::host::detail
