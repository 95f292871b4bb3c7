#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

/// A mutex that clang's thread-safety analysis knows: what a member's comment would say ("under the mutex")
/// is checked where the compiler can. Everywhere else the annotations are nothing.
///
///   class Counter {
///     void grow() VANTREL_REQUIRES(mutex_);         // called with it held
///     void print() const VANTREL_EXCLUDES(mutex_);  // called without it, as it takes it
///     void begin() VANTREL_ACQUIRE(mutex_);         // holds it afterwards
///     void end() VANTREL_RELEASE(mutex_);           // does not any more
///     void forAll() VANTREL_UNCHECKED;              // beyond the analysis; a comment says why
///     Mutex mutex_;
///     int count_ VANTREL_GUARDED_BY(mutex_);        // touched with the mutex held only
///   };
#if defined(__clang__)
#define VANTREL_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define VANTREL_THREAD_ANNOTATION(x)
#endif

#define VANTREL_GUARDED_BY(mutex) VANTREL_THREAD_ANNOTATION(guarded_by(mutex))
#define VANTREL_REQUIRES(...) VANTREL_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define VANTREL_EXCLUDES(...) VANTREL_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define VANTREL_ACQUIRE(...) VANTREL_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define VANTREL_RELEASE(...) VANTREL_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define VANTREL_UNCHECKED VANTREL_THREAD_ANNOTATION(no_thread_safety_analysis)

namespace vantrel {

class VANTREL_THREAD_ANNOTATION(capability("mutex")) Mutex {
 public:
  void lock() VANTREL_ACQUIRE() { mutex_.lock(); }
  void unlock() VANTREL_RELEASE() { mutex_.unlock(); }

 private:
  friend class MutexLock;
  friend class Condition;
  std::mutex mutex_;
};

/// Holds a mutex for a scope; may let go of it and take it again meanwhile.
class VANTREL_THREAD_ANNOTATION(scoped_lockable) MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) VANTREL_ACQUIRE(mutex) : lock_(mutex.mutex_) {}
  ~MutexLock() VANTREL_RELEASE() = default;
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

  void lock() VANTREL_ACQUIRE() { lock_.lock(); }
  void unlock() VANTREL_RELEASE() { lock_.unlock(); }

 private:
  std::unique_lock<std::mutex> lock_;
};

/// A condition variable for it. A wait gives the mutex up, sleeps until it is notified and takes the mutex
/// again. It may also return for no reason, so what is waited for is looked at in a loop:
///
///   MutexLock lock(mutex_);
///   while (tasks_.empty()) work_.wait(mutex_);
class Condition {
 public:
  void wait(Mutex& mutex) VANTREL_REQUIRES(mutex) {
    std::unique_lock lock(mutex.mutex_, std::adopt_lock);
    variable_.wait(lock);
    lock.release();
  }

  /// False when the moment has come.
  bool waitUntil(Mutex& mutex, std::chrono::steady_clock::time_point moment) VANTREL_REQUIRES(mutex) {
    std::unique_lock lock(mutex.mutex_, std::adopt_lock);
    const std::cv_status woken = variable_.wait_until(lock, moment);
    lock.release();
    return woken == std::cv_status::no_timeout;
  }

  void notifyOne() { variable_.notify_one(); }
  void notifyAll() { variable_.notify_all(); }

 private:
  std::condition_variable variable_;
};

}  // namespace vantrel
