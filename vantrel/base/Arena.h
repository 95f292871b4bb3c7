#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "vantrel/base/Export.h"

namespace vantrel::storage {

/// The memory of everything that was parsed from one text. It is freed as a whole when its last user lets go
/// of it.
///
/// Most of it is the room, one piece whose size is known before anything is laid down. What lies there finds
/// its way back to the arena by its distance, so that it needs no pointer for that.
class VANTREL_EXPORT Arena {
 public:
  /// Counted once; null when the room and the arena itself take more than `limit` bytes.
  static Arena* create(std::size_t roomSize, std::uint64_t limit);

  void retain() noexcept { users_.fetch_add(1, std::memory_order_relaxed); }
  void release() noexcept;

  /// Aligned to eight bytes.
  char* room() noexcept { return reinterpret_cast<char*>(this + 1); }

  /// Memory beside the room, aligned to eight bytes; null past the limit.
  void* allocate(std::size_t size);

  /// How far in the room a place is; `at` leads back from there.
  std::uint32_t distanceTo(const void* place) const noexcept {
    const auto distance = reinterpret_cast<std::uintptr_t>(place) - reinterpret_cast<std::uintptr_t>(this);
    return static_cast<std::uint32_t>(distance / kStep);
  }
  static Arena* at(const void* place, std::uint32_t distance) noexcept {
    const auto* const bytes = static_cast<const char*>(place);
    const std::size_t odd = reinterpret_cast<std::uintptr_t>(place) % kStep;
    // Everything in the room belongs to whoever counts the arena, and who does may let go of it.
    return reinterpret_cast<Arena*>(const_cast<char*>(bytes - odd - std::size_t{distance} * kStep));
  }

 private:
  struct Chunk {
    Chunk* previous;
  };

  static constexpr std::size_t kStep = 8;

  Arena() = default;
  bool addChunk(std::size_t size);

  std::atomic<std::size_t> users_{1};
  std::uint64_t left_ = 0;  // of the limit
  std::size_t chunkSize_ = 0;
  Chunk* chunks_ = nullptr;
  char* next_ = nullptr;
  char* end_ = nullptr;
};

}  // namespace vantrel::storage
