#pragma once

namespace vantrel::loop::detail {

class LoopState;

/// Every loop of the process, for what concerns them together.
///
/// Forks: no loop is in the middle of a post when the process forks. In the child the loop of the thread that
/// forked goes on, all others have ended; the main loop of another thread starts anew.
///
/// Threads: any. No lock of a loop may be held by the caller.
namespace loops {

void add(LoopState& loop);
void remove(LoopState& loop);

/// The system has just given descriptors to this loop: others that believe to have them have lost them.
void ownDescriptorsOf(LoopState& loop);

}  // namespace loops

}  // namespace vantrel::loop::detail
