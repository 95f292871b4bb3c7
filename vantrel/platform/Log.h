#pragma once

#include <functional>
#include <string_view>

#include "vantrel/platform/Export.h"

/// The platform log: one line a call, the text exactly as given. Lines go to standard error until a sink is
/// set. Threads: any; a sink may be called from several threads at once and must guard what it writes to.
namespace vantrel::platform {

using LogSink = std::function<void(std::string_view line)>;

/// Writes one line.
VANTREL_EXPORT void log(std::string_view line);

/// Writes one line formatted as by printf.
[[gnu::format(printf, 1, 2)]] VANTREL_EXPORT void logFormat(const char* format, ...);

/// Sends the log to `sink` as long as it lives; the earlier destination is back afterwards. Scopes nest.
class VANTREL_EXPORT ScopedLogSink {
 public:
  explicit ScopedLogSink(LogSink sink);
  ~ScopedLogSink();
  ScopedLogSink(const ScopedLogSink&) = delete;
  ScopedLogSink& operator=(const ScopedLogSink&) = delete;

 private:
  LogSink earlier_;
};

}  // namespace vantrel::platform
