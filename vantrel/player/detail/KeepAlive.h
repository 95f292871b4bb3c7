#pragma once

#include <memory>
#include <utility>

#include "vantrel/loop/MainQueue.h"

namespace vantrel::player::detail {

/// Ends a report of `reporter`, which is still running: when everyone else has let it go meanwhile, the main
/// loop's next turn destroys it, not this call from inside it. Main thread.
template <class Reporter>
void releaseAfterReport(std::shared_ptr<Reporter> reporter) {
  if (reporter.use_count() == 1) MainQueue::post([reporter = std::move(reporter)] {});
}

}  // namespace vantrel::player::detail
