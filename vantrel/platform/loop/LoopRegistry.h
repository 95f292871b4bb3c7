#pragma once

namespace vantrel::platform::detail {

class LoopState;

/// Every loop of the process, for what concerns them together.
///
/// Threads: any. No lock of a loop may be held by the caller.
namespace loops {

void add(LoopState& loop);
void remove(LoopState& loop);

/// The system has just given descriptors to this loop: others that believe to have them have lost them.
void ownDescriptorsOf(LoopState& loop);

}  // namespace loops

}  // namespace vantrel::platform::detail
