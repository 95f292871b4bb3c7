#pragma once

#include <cstdint>

namespace vantrel::tests {

/// How often the calling thread has called operator new and operator delete, and for how many bytes; the
/// whole program counts.
std::uint64_t allocationsOfThisThread();
std::uint64_t freesOfThisThread();
std::uint64_t allocatedBytesOfThisThread();

/// While one lives, operator new fails on its thread.
class NoMemory {
 public:
  NoMemory();
  ~NoMemory();
  NoMemory(const NoMemory&) = delete;
};

/// Bytes that the calling thread has allocated and not freed, and the most that these have been since the
/// last call of `forgetMostBytesInUse`.
std::int64_t bytesInUseByThisThread();
std::int64_t mostBytesInUseByThisThread();
void forgetMostBytesInUse();

/// Lets one allocation of this thread fail, the one after `successes` further ones, if it comes while this
/// object lives.
class FailingAllocation {
 public:
  explicit FailingAllocation(std::int64_t successes);
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;
  ~FailingAllocation();
};

}  // namespace vantrel::tests
