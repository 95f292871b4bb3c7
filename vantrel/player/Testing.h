#pragma once

#include "vantrel/base/Export.h"

/// For the tests of programs that use the players.
namespace vantrel::testing {

/// Lets the three shared players go and forgets which one played last, so that the next test begins as a new
/// process does. Settings stay as they are. A player that somebody else holds lives on, but is shared no
/// more.
/// Threads: the main thread, not from inside a player's event.
VANTREL_EXPORT void resetPlayers();

}  // namespace vantrel::testing
