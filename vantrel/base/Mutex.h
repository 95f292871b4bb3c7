#pragma once

#include <condition_variable>
#include <mutex>

/// A mutex that clang's thread-safety analysis knows: what a member's comment would say ("under the mutex")
/// is checked where the compiler can. Everywhere else the annotations are nothing.
#if defined(__clang__)
#define VANTREL_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define VANTREL_THREAD_ANNOTATION(x)
#endif

#define VANTREL_GUARDED_BY(mutex) VANTREL_THREAD_ANNOTATION(guarded_by(mutex))
#define VANTREL_REQUIRES(...) VANTREL_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define VANTREL_EXCLUDES(...) VANTREL_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))

namespace vantrel {

class VANTREL_THREAD_ANNOTATION(capability("mutex")) Mutex {
 public:
  void lock() VANTREL_THREAD_ANNOTATION(acquire_capability()) { mutex_.lock(); }
  void unlock() VANTREL_THREAD_ANNOTATION(release_capability()) { mutex_.unlock(); }
  bool try_lock() VANTREL_THREAD_ANNOTATION(try_acquire_capability(true)) { return mutex_.try_lock(); }

 private:
  friend class MutexLock;
  std::mutex mutex_;
};

/// Holds a mutex for a scope; may let go of it and take it again meanwhile, and waits on conditions.
class VANTREL_THREAD_ANNOTATION(scoped_lockable) MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) VANTREL_THREAD_ANNOTATION(acquire_capability(mutex))
      : lock_(mutex.mutex_) {}
  ~MutexLock() VANTREL_THREAD_ANNOTATION(release_capability()) = default;
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

  void lock() VANTREL_THREAD_ANNOTATION(acquire_capability()) { lock_.lock(); }
  void unlock() VANTREL_THREAD_ANNOTATION(release_capability()) { lock_.unlock(); }

  /// For the waiting operations of `std::condition_variable`.
  std::unique_lock<std::mutex>& underlying() { return lock_; }

 private:
  std::unique_lock<std::mutex> lock_;
};

}  // namespace vantrel
