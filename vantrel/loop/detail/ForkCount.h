#pragma once

#include <atomic>

namespace vantrel::loop::detail {

extern std::atomic<unsigned> forksBefore;

/// How many forks lie between the start of the program and this process: what was made at another count is
/// the parent's, whose threads are not here and whose locks may be held for ever. A plain load; `vfork` and
/// the calls that start another program do not count.
///
/// Threads: any.
inline unsigned forkCount() { return forksBefore.load(std::memory_order_relaxed); }

}  // namespace vantrel::loop::detail
