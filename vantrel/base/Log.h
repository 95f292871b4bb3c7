#pragma once

#include <concepts>
#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>
#include <utility>

#include "vantrel/base/Export.h"

/// The platform log: one line a call, the text exactly as given, with a level.
///
/// A host's sink gets every line. Without one, warnings and errors go to standard error; the environment
/// variable VANTREL_LOG (debug, info, warning or error, looked at once) names another lowest level. Any other
/// text there is taken as warning.
///
/// Threads: any; a sink may be called from several threads at once and must guard what it writes to. A sink
/// throws nothing: lines are logged where nobody could catch it.
namespace vantrel {

namespace detail {
struct InstalledSink;
}

/// How much a line matters, least first.
enum class LogLevel : std::uint8_t {
  Debug,    ///< steps that only a developer follows
  Info,     ///< what happens, as expected
  Warning,  ///< something is missing or wrong; the library goes on with less
  Error,    ///< what was asked for is not done
};

using LogSink = std::function<void(LogLevel level, std::string_view line)>;

/// Writes one line.
VANTREL_EXPORT void log(LogLevel level, std::string_view line);

/// Writes one line that is information.
VANTREL_EXPORT void log(std::string_view line);

/// The same formatted as by printf.
[[gnu::format(printf, 2, 3)]] VANTREL_EXPORT void logFormat(LogLevel level, const char* format, ...);
[[gnu::format(printf, 1, 2)]] VANTREL_EXPORT void logFormat(const char* format, ...);

/// Sends the log to `sink` as long as it lives; afterwards it goes where it went before. The newest scope
/// that lives counts, in whatever order they end. An empty sink is standard error.
///
/// Once the destructor has returned no other thread is inside the sink or will call it: it waits for the
/// calls under way there. Hold no lock meanwhile that the sink takes. A sink may log, and may end its own
/// scope, which then waits for the other threads only; its captures live until the call returns.
///
///   const vantrel::ScopedLogSink sink([](vantrel::LogLevel level, std::string_view line) {
///     if (level >= vantrel::LogLevel::Warning) journal.write(line);
///   });
class VANTREL_EXPORT ScopedLogSink {
 public:
  explicit ScopedLogSink(LogSink sink);

  /// For a sink that does not care for levels and takes lines alone.
  template <std::invocable<std::string_view> Sink>
  requires(!std::constructible_from<LogSink, Sink>) explicit ScopedLogSink(Sink sink)
      : ScopedLogSink(ofEveryLevel(std::move(sink))) {}
  ~ScopedLogSink();
  ScopedLogSink(const ScopedLogSink&) = delete;
  ScopedLogSink& operator=(const ScopedLogSink&) = delete;

 private:
  static LogSink ofEveryLevel(std::function<void(std::string_view line)> sink);

  const std::shared_ptr<detail::InstalledSink> installed_;
};

}  // namespace vantrel
