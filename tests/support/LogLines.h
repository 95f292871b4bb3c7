#pragma once

#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "vantrel/base/Log.h"

namespace vantrel::tests {

/// Keeps the lines of the log as long as it lives, of all threads.
class LogLines {
 public:
  /// Those since the last call.
  std::vector<std::string> take() {
    const std::lock_guard lock(mutex_);
    return std::exchange(lines_, {});
  }

 private:
  std::mutex mutex_;
  std::vector<std::string> lines_;
  ScopedLogSink sink_{[this](std::string_view line) {
    const std::lock_guard lock(mutex_);
    lines_.emplace_back(line);
  }};
};

}  // namespace vantrel::tests
