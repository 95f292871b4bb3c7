#pragma once

#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <string_view>

#include "tests/support/Sanitizers.h"

namespace vantrel::tests {

/// Ends the program with a message when it lives longer than so many seconds, far more than its work takes:
/// for tests whose threads would wait for each other forever if what they test were broken. One at a time.
class Watchdog {
 public:
  /// A sanitizer makes the work many times as long.
  static constexpr unsigned kSeconds = kSanitized ? 20 : 8;

  explicit Watchdog(unsigned seconds = kSeconds) {
    std::signal(SIGALRM, [](int) {
      constexpr std::string_view kMessage = "Watchdog: this test hangs\n";
      static_cast<void>(!write(STDERR_FILENO, kMessage.data(), kMessage.size()));
      std::signal(SIGABRT, SIG_DFL);
      std::abort();
    });
    alarm(seconds);
  }
  ~Watchdog() { alarm(0); }
  Watchdog(const Watchdog&) = delete;
};

}  // namespace vantrel::tests
