#pragma once

#include <string_view>

#include "vantrel/base/Export.h"

namespace vantrel {

/// The event that a session posts on the notification bus when the output volume has changed, and the entry
/// of its user information that holds the new volume.
inline constexpr std::string_view kSystemVolumeDidChangeNotification =
    "AVSystemController_SystemVolumeDidChangeNotification";
inline constexpr std::string_view kAudioVolumeNotificationParameter =
    "AVSystemController_AudioVolumeNotificationParameter";

/// The output volume of the system. It posts `kSystemVolumeDidChangeNotification` from the main run loop
/// after every change, whoever made it. Threads: the main thread only.
class VANTREL_EXPORT AudioSession {
 public:
  virtual ~AudioSession() = default;

  /// 0 to 1.
  virtual float outputVolume() const = 0;

  /// False when there is no volume to set.
  virtual bool setOutputVolume(float volume) = 0;
};

}  // namespace vantrel
