#include "vantrel/host/detail/PlainDefaults.h"

#include <algorithm>
#include <cmath>

#include "vantrel/loop/NotificationBus.h"
#include "vantrel/loop/RunLoop.h"

namespace vantrel::host::detail {

bool RememberedVolume::setOutputVolume(float volume) {
  if (std::isnan(volume)) return false;
  volume = std::clamp(volume, 0.0F, 1.0F);
  if (volume == volume_) return true;
  volume_ = volume;
  // Never from inside the call: a system's own volume event comes later, too.
  RunLoop::main().post([volume] {
    const ValueTree info =
        ValueTree::dictionary({{kAudioVolumeNotificationParameter, static_cast<double>(volume)}});
    NotificationBus::shared().post(kSystemVolumeDidChangeNotification, nullptr, &info);
  });
  return true;
}

}  // namespace vantrel::host::detail
