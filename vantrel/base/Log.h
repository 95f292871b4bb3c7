#pragma once

#include <functional>
#include <memory>
#include <string_view>

#include "vantrel/base/Export.h"

/// The platform log: one line a call, the text exactly as given. Lines go to standard error until a sink is
/// set. Threads: any; a sink may be called from several threads at once and must guard what it writes to.
namespace vantrel {

namespace detail {
struct InstalledSink;
}

using LogSink = std::function<void(std::string_view line)>;

/// Writes one line.
VANTREL_EXPORT void log(std::string_view line);

/// Writes one line formatted as by printf.
[[gnu::format(printf, 1, 2)]] VANTREL_EXPORT void logFormat(const char* format, ...);

/// Sends the log to `sink` as long as it lives; afterwards it goes where it went before. The newest scope
/// that lives counts, in whatever order they end. An empty sink is standard error.
///
/// Once the destructor has returned no other thread is inside the sink or will call it: it waits for the
/// calls under way there. Hold no lock meanwhile that the sink takes. A sink may log, and may end its own
/// scope, which then waits for the other threads only; its captures live until the call returns.
class VANTREL_EXPORT ScopedLogSink {
 public:
  explicit ScopedLogSink(LogSink sink);
  ~ScopedLogSink();
  ScopedLogSink(const ScopedLogSink&) = delete;
  ScopedLogSink& operator=(const ScopedLogSink&) = delete;

 private:
  const std::shared_ptr<detail::InstalledSink> installed_;
};

}  // namespace vantrel
