#pragma once

#include <optional>

#include "vantrel/loop/Clock.h"

namespace vantrel::host::detail {

/// When waiting changes are due to be written: soon after the first one, but not within the gathering time
/// of the last writing, so that steady changes are written together. Follows the clock in force. One thread
/// at a time.
class Gathering {
 public:
  /// A change waits from now on. True when the writing is due earlier than before.
  bool changed();

  /// A writing of all that waits begins.
  void begun();

  /// It failed, and is tried again after a while or with the next change.
  void failed();

  /// How long until the writing is due, zero or less when it is; absent when nothing waits.
  std::optional<Duration> left() const;

 private:
  enum class State : std::uint8_t { Idle, Waiting, Retrying };

  void wait(State state, Duration time);

  State state_ = State::Idle;
  Instant start_;  // of the waiting
  Duration time_{0};
  std::optional<Instant> begun_;
};

}  // namespace vantrel::host::detail
