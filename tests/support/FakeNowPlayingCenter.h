#pragma once

#include <memory>
#include <utility>

#include "vantrel/host/seams/NowPlayingCenter.h"

namespace vantrel::testing {

/// Keeps what was shown last.
class FakeNowPlayingCenter : public NowPlayingCenter {
 public:
  const ValueTree& info() const { return info_; }
  const std::shared_ptr<const Artwork>& artwork() const { return artwork_; }
  int updates() const { return updates_; }

  void setNowPlayingInfo(const ValueTree& info, std::shared_ptr<const Artwork> artwork) override {
    info_ = info;
    artwork_ = std::move(artwork);
    ++updates_;
  }

 private:
  ValueTree info_;
  std::shared_ptr<const Artwork> artwork_;
  int updates_ = 0;
};

}  // namespace vantrel::testing
