#include "vantrel/base/Log.h"

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "vantrel/base/Mutex.h"
#include "vantrel/base/NeverDestroyed.h"

namespace vantrel {

struct detail::InstalledSink {
  explicit InstalledSink(LogSink given) : sink(std::move(given)) {}

  LogSink sink;
  std::atomic<int> calls{0};  ///< under way
};

namespace {

using detail::InstalledSink;

constexpr std::pair<LogLevel, std::string_view> kNames[] = {{LogLevel::Debug, "debug"},
                                                            {LogLevel::Info, "info"},
                                                            {LogLevel::Warning, "warning"},
                                                            {LogLevel::Error, "error"}};

/// A call of a sink under way on this thread, and those that it came out of.
class Call {
 public:
  /// Of a sink whose `calls` count this one already.
  explicit Call(std::shared_ptr<InstalledSink> installed)
      : installed_(std::move(installed)), outer_(std::exchange(innermost, this)) {}
  ~Call() {
    innermost = outer_;
    installed_->calls.fetch_sub(1);
    installed_->calls.notify_all();
  }
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;

  const LogSink& sink() const { return installed_->sink; }

  static int onThisThread(const InstalledSink& installed) {
    int count = 0;
    for (const Call* call = innermost; call; call = call->outer_)
      count += call->installed_.get() == &installed ? 1 : 0;
    return count;
  }

 private:
  static constinit thread_local const Call* innermost;
  const std::shared_ptr<InstalledSink> installed_;
  const Call* const outer_;
};

constinit thread_local const Call* Call::innermost = nullptr;

/// The sinks of the scopes that live, newest last.
class Sinks {
 public:
  static Sinks& shared() {
    // Never destroyed: other objects may log while the process exits.
    static NeverDestroyed<Sinks> sinks;
    return *sinks;
  }

  void add(std::shared_ptr<InstalledSink> installed) {
    const MutexLock lock(mutex_);
    all_.push_back(std::move(installed));
  }

  void remove(const std::shared_ptr<InstalledSink>& installed) {
    const MutexLock lock(mutex_);
    all_.erase(std::find(all_.begin(), all_.end(), installed));
  }

  /// The newest one, with a call counted; null without any.
  std::shared_ptr<InstalledSink> beginCall() {
    const MutexLock lock(mutex_);
    if (all_.empty()) return nullptr;
    // Counted under the lock: whoever takes a sink out knows of every call that there will ever be.
    all_.back()->calls.fetch_add(1);
    return all_.back();
  }

  void beforeFork() VANTREL_ACQUIRE(mutex_) { mutex_.lock(); }
  void afterForkInParent() VANTREL_RELEASE(mutex_) { mutex_.unlock(); }

  /// Only the calls of the thread that forked will ever return.
  void afterForkInChild() VANTREL_RELEASE(mutex_) {
    for (const auto& installed : all_) installed->calls = Call::onThisThread(*installed);
    mutex_.unlock();
  }

 private:
  Mutex mutex_;
  std::vector<std::shared_ptr<InstalledSink>> all_ VANTREL_GUARDED_BY(mutex_);
};

// The lock goes from one handler to the next, where the analysis cannot follow.
void beforeFork() VANTREL_UNCHECKED { Sinks::shared().beforeFork(); }
void afterForkInParent() VANTREL_UNCHECKED { Sinks::shared().afterForkInParent(); }
void afterForkInChild() VANTREL_UNCHECKED { Sinks::shared().afterForkInChild(); }

/// Before all other handlers are registered, so that this lock, under which nothing else is locked, is the
/// last one that a fork takes.
[[gnu::constructor(101)]] void followForks() {
  pthread_atfork(beforeFork, afterForkInParent, afterForkInChild);
}

LogLevel lowestWanted() {
  const char* const wanted = std::getenv("VANTREL_LOG");
  for (const auto& [level, name] : kNames)
    if (wanted && name == wanted) return level;
  return LogLevel::Warning;
}

/// Whether standard error gets lines of this level.
bool isShown(LogLevel level) {
  // Not a static that is made under a lock, which a fork at that moment would leave held in the child.
  constexpr int kUnknown = -1;
  static constinit std::atomic<int> lowest{kUnknown};
  if (lowest == kUnknown) lowest = static_cast<int>(lowestWanted());
  return static_cast<int>(level) >= lowest;
}

void writeToStandardError(LogLevel level, std::string_view line) {
  if (!isShown(level)) return;
  try {
    std::string text;
    text.reserve(line.size() + 1);
    text.append(line).push_back('\n');
    // One call, so that lines of several threads do not mix.
    std::fwrite(text.data(), 1, text.size(), stderr);
  } catch (const std::bad_alloc&) {
    std::fwrite(line.data(), 1, line.size(), stderr);
    std::fputc('\n', stderr);
  }
}

[[gnu::format(printf, 2, 0)]] void logFormatted(LogLevel level, const char* format, std::va_list arguments) {
  std::va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, again);
  va_end(again);
  std::string line(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
  std::vsnprintf(line.data(), line.size() + 1, format, arguments);
  log(level, line);
}

}  // namespace

void log(LogLevel level, std::string_view line) {
  auto installed = Sinks::shared().beginCall();
  if (!installed) return writeToStandardError(level, line);
  const Call call(std::move(installed));
  call.sink() ? call.sink()(level, line) : writeToStandardError(level, line);
}

void log(std::string_view line) { log(LogLevel::Info, line); }

void logFormat(LogLevel level, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  logFormatted(level, format, arguments);
  va_end(arguments);
}

void logFormat(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  logFormatted(LogLevel::Info, format, arguments);
  va_end(arguments);
}

ScopedLogSink::ScopedLogSink(LogSink sink) : installed_(std::make_shared<InstalledSink>(std::move(sink))) {
  Sinks::shared().add(installed_);
}

LogSink ScopedLogSink::ofEveryLevel(std::function<void(std::string_view)> sink) {
  if (!sink) return nullptr;
  return [sink = std::move(sink)](LogLevel, std::string_view line) { sink(line); };
}

ScopedLogSink::~ScopedLogSink() {
  Sinks::shared().remove(installed_);
  const int own = Call::onThisThread(*installed_);
  for (int calls; (calls = installed_->calls.load()) > own;) installed_->calls.wait(calls);
  // Another thread may hold the last reference for a moment; what the sink captured dies here all the same.
  if (own == 0) installed_->sink = nullptr;
}

}  // namespace vantrel
