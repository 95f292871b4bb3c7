#include "vantrel/base/Arena.h"

#include <algorithm>
#include <limits>
#include <new>
#include <utility>

namespace vantrel::storage {

namespace {

constexpr std::size_t kSmallestChunk = 512;
constexpr std::size_t kLargestChunk = std::size_t{1} << 20;

}  // namespace

Arena* Arena::create(std::size_t roomSize, std::uint64_t limit) {
  static_assert(sizeof(Arena) % kStep == 0);
  constexpr std::uint64_t kFarthest = std::uint64_t{std::numeric_limits<std::uint32_t>::max()} * kStep;
  const std::uint64_t most = std::min(limit, kFarthest);
  if (most < sizeof(Arena) || roomSize > most - sizeof(Arena)) return nullptr;
  const std::size_t size = sizeof(Arena) + roomSize;
  auto* const arena = new (::operator new(size)) Arena;
  arena->left_ = limit - size;
  // Little beside what the room takes, and yet few pieces.
  arena->chunkSize_ = std::clamp(roomSize / 32, kSmallestChunk, kLargestChunk);
  return arena;
}

void* Arena::allocate(std::size_t size) {
  size = (size + kStep - 1) / kStep * kStep;
  if (size > static_cast<std::size_t>(end_ - next_) && !addChunk(size)) return nullptr;
  return std::exchange(next_, next_ + size);
}

bool Arena::addChunk(std::size_t size) {
  const std::size_t whole = sizeof(Chunk) + std::max(size, chunkSize_);
  if (whole > left_) return false;
  char* const memory = static_cast<char*>(::operator new(whole));
  left_ -= whole;
  chunks_ = new (memory) Chunk{chunks_};
  next_ = memory + sizeof(Chunk);
  end_ = memory + whole;
  return true;
}

void Arena::release() noexcept {
  if (users_.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
  for (Chunk* chunk = chunks_; chunk != nullptr;) ::operator delete(std::exchange(chunk, chunk->previous));
  ::operator delete(static_cast<void*>(this));
}

}  // namespace vantrel::storage
