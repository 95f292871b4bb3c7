#pragma once

#include "vantrel/host/seams/AudioSession.h"
#include "vantrel/loop/NotificationBus.h"

namespace vantrel::testing {

/// A volume that is only remembered. Changes are told when the test says so.
class FakeAudioSession : public AudioSession {
 public:
  float outputVolume() const override { return volume_; }
  bool setOutputVolume(float volume) override {
    volume_ = volume;
    return true;
  }

  /// Tells `userInfo` as a change of the system volume.
  static void postChange(const ValueTree* userInfo) {
    NotificationBus::shared().post(kSystemVolumeDidChangeNotification, nullptr, userInfo);
  }
  void postChange() const {
    const ValueTree info =
        ValueTree::dictionary({{kAudioVolumeNotificationParameter, static_cast<double>(volume_)}});
    postChange(&info);
  }

 private:
  float volume_ = 0.5f;
};

}  // namespace vantrel::testing
