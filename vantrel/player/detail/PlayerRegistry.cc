#include "vantrel/player/detail/PlayerRegistry.h"

#include "vantrel/base/NeverDestroyed.h"

namespace vantrel {

player::detail::PlayerRegistry& player::detail::PlayerRegistry::shared() {
  // What the players stand on may be gone when the process exits.
  static NeverDestroyed<PlayerRegistry> registry;
  return *registry;
}

void KWAudioPlayer::resetForTests() {
  using player::detail::PlayerRegistry;
  PlayerRegistry::shared() = PlayerRegistry{};
}

}  // namespace vantrel
