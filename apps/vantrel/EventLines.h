#pragma once

#include <optional>
#include <string>

#include "vantrel/loop/NotificationBus.h"

/// Events of the notification bus as lines of text.
namespace app {

/// {"name": ..., "object": ...}, with "userInfo" when the event carries one, and with the "track" that it is
/// about. What is absent or cannot be held by JSON is null.
std::string jsonLineOf(const vantrel::Notification& event,
                       const std::optional<vantrel::ValueTree>& track = std::nullopt);

/// The event's name and, when it has an object, what that says.
std::string textLineOf(const vantrel::Notification& event);

}  // namespace app
