#pragma once

#include <cstdio>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "vantrel/base/Log.h"
#include "vantrel/loop/NotificationBus.h"

namespace vantrel::testing {

/// A value as a test reads it: texts as they are, floating numbers with four digits, dictionaries as
/// "{KEY=value ...}", an absent one as nothing.
inline std::string shown(const ValueTree& value) {
  if (const auto text = value.asString()) return std::string(*text);
  if (const auto whole = value.asUnsigned()) return std::to_string(*whole);
  if (const auto number = value.asDouble()) {
    char digits[64];
    std::snprintf(digits, sizeof digits, "%.4g", *number);
    return digits;
  }
  std::string members;
  for (const auto& member : value.members()) {
    members += (members.empty() ? "" : " ") + std::string(member.key()) + "=" + shown(member.value());
  }
  return "{" + members + "}";
}

/// What happened, in order: every line of the log ("log: text"), every event of the bus ("NAME object"), and
/// what fakes tell with `add`. One at a time; one thread.
class Journal {
 public:
  Journal()
      : sink_([this](std::string_view line) { add("log: " + std::string(line)); }),
        events_(NotificationBus::shared().addForAll([this](const Notification& event) {
          add(std::string(event.name) + (event.object ? " " + shown(*event.object) : ""));
        })) {}

  void add(std::string line) { lines_.push_back(std::move(line)); }

  /// What happened since the last call.
  std::vector<std::string> take() { return std::exchange(lines_, {}); }

 private:
  std::vector<std::string> lines_;
  ScopedLogSink sink_;
  NotificationBus::Subscription events_;
};

/// Where a fake tells what was asked of it; may be empty.
using Tell = std::function<void(std::string)>;

}  // namespace vantrel::testing
