#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "vantrel/base/Error.h"
#include "vantrel/base/Export.h"

namespace vantrel {

/// A notice to the user, shown `interval` seconds from now, and again every `interval` seconds when it
/// repeats.
struct LocalNotificationRequest {
  std::string identifier;
  std::string title;
  std::string subtitle;
  std::string body;
  std::int64_t badge = 0;
  double interval = 0;
  bool repeats = false;
};

/// Schedules notices. Threads: any.
class VANTREL_EXPORT LocalNotifications {
 public:
  virtual ~LocalNotifications() = default;

  /// Schedules the request in place of a pending one of the same identifier, then calls `completion` once, on
  /// any thread, with absent or with why it failed.
  virtual void add(const LocalNotificationRequest& request,
                   std::function<void(const std::optional<Error>&)> completion) = 0;
};

}  // namespace vantrel
