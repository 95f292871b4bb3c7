#pragma once

#include "vantrel/loop/RunLoop.h"

namespace vantrel::loop::detail {

/// The main loop, without making the caller's thread the main thread. For posting to it.
RunLoop& mainLoopForPosting();

}  // namespace vantrel::loop::detail
