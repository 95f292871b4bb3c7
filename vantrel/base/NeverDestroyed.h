#pragma once

#include <new>
#include <utility>

namespace vantrel {

/// An object of static storage whose destructor never runs: other threads and other objects' destructors may
/// use it while the process exits.
///
///   static NeverDestroyed<Registry> registry;
///   return *registry;
template <typename T>
class NeverDestroyed {
 public:
  template <typename... Arguments>
  explicit NeverDestroyed(Arguments&&... arguments) {
    new (storage_) T(std::forward<Arguments>(arguments)...);
  }
  NeverDestroyed(const NeverDestroyed&) = delete;
  NeverDestroyed& operator=(const NeverDestroyed&) = delete;

  T& operator*() { return *std::launder(reinterpret_cast<T*>(storage_)); }
  T* operator->() { return &**this; }

 private:
  alignas(T) unsigned char storage_[sizeof(T)];
};

}  // namespace vantrel
