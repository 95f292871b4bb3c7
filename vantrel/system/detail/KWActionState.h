#pragma once

namespace vantrel::system::detail {

/// Forgets that `KWAction::taskOnce` has run a task and when the limiter last gave true. For tests, whose
/// cases may share a process. Not while other threads use either.
void resetKWActionState();

}  // namespace vantrel::system::detail
