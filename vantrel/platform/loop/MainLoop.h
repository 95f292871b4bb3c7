#pragma once

#include "vantrel/platform/loop/RunLoop.h"

namespace vantrel::platform::detail {

/// The main loop, without making the caller's thread the main thread. For posting to it.
RunLoop& mainLoopForPosting();

/// The calling thread is a worker: asking for a loop does not make it the main thread.
void markWorkerThread();

}  // namespace vantrel::platform::detail
