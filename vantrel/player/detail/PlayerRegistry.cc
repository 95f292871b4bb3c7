#include "vantrel/player/detail/PlayerRegistry.h"

#include "vantrel/base/NeverDestroyed.h"

namespace vantrel::player::detail {

PlayerRegistry& PlayerRegistry::shared() {
  // Never destroyed: what the players stand on may be gone when the process exits.
  static NeverDestroyed<PlayerRegistry> registry;
  return *registry;
}

void PlayerRegistry::reset() { shared() = PlayerRegistry{}; }

}  // namespace vantrel::player::detail
