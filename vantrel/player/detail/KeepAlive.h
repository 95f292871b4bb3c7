#pragma once

#include <memory>
#include <utility>

#include "vantrel/loop/MainQueue.h"

namespace vantrel::player::detail {

/// Around a report of `reporter`: when everyone else has let it go by the end, the main loop's next turn
/// destroys it, not this call from inside it. The memory for that is taken before the report, so that an end
/// without memory is the same. Main thread.
template <class Reporter>
class KeepForReport {
 public:
  explicit KeepForReport(std::shared_ptr<Reporter> reporter)
      : reporter_(std::move(reporter)), release_([kept = reporter_] {}) {}
  ~KeepForReport() {
    if (reporter_.use_count() == kOwn) release_.post();
  }
  KeepForReport(const KeepForReport&) = delete;
  KeepForReport& operator=(const KeepForReport&) = delete;

 private:
  static constexpr long kOwn = 2;  // the two below

  std::shared_ptr<Reporter> reporter_;
  MainQueue::Prepared release_;
};

}  // namespace vantrel::player::detail
