#include "vantrel/platform/Log.h"

#include <cstdarg>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

namespace vantrel::platform {
namespace {

std::mutex& sinkMutex() {
  static std::mutex mutex;
  return mutex;
}

LogSink& installedSink() {
  // Never destroyed: other objects may log while the process exits.
  static LogSink& sink = *new LogSink;
  return sink;
}

LogSink exchangeSink(LogSink sink) {
  const std::lock_guard lock(sinkMutex());
  return std::exchange(installedSink(), std::move(sink));
}

}  // namespace

void log(std::string_view line) {
  LogSink sink;
  {
    const std::lock_guard lock(sinkMutex());
    sink = installedSink();
  }
  if (sink) return sink(line);
  // One call, so that lines of several threads do not mix.
  std::fprintf(stderr, "%.*s\n", static_cast<int>(line.size()), line.data());
}

void logFormat(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(nullptr, 0, format, arguments);
  va_end(arguments);
  std::string line(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
  va_start(arguments, format);
  std::vsnprintf(line.data(), line.size() + 1, format, arguments);
  va_end(arguments);
  log(line);
}

ScopedLogSink::ScopedLogSink(LogSink sink) : earlier_(exchangeSink(std::move(sink))) {}

ScopedLogSink::~ScopedLogSink() { exchangeSink(std::move(earlier_)); }

}  // namespace vantrel::platform
