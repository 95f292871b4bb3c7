#include "tests/support/AllocationCounter.h"

#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <new>

namespace {

constexpr std::int64_t kNever = -1;

constinit thread_local std::uint64_t allocations = 0;
constinit thread_local std::uint64_t frees = 0;
constinit thread_local std::uint64_t bytes = 0;
constinit thread_local std::int64_t bytesInUse = 0;
constinit thread_local std::int64_t mostBytesInUse = 0;
constinit thread_local std::int64_t successesLeft = kNever;
constinit thread_local bool allFail = false;

bool failsNow() {
  const bool fails = successesLeft == 0 || allFail;
  if (successesLeft != kNever) --successesLeft;
  return fails;
}

}  // namespace

namespace vantrel::tests {

std::uint64_t allocationsOfThisThread() { return allocations; }
std::uint64_t freesOfThisThread() { return frees; }
std::uint64_t allocatedBytesOfThisThread() { return bytes; }
std::int64_t bytesInUseByThisThread() { return bytesInUse; }
std::int64_t mostBytesInUseByThisThread() { return mostBytesInUse; }
void forgetMostBytesInUse() { mostBytesInUse = bytesInUse; }

NoMemory::NoMemory() { allFail = true; }
NoMemory::~NoMemory() { allFail = false; }

FailingAllocation::FailingAllocation(std::int64_t successes) { successesLeft = successes; }
FailingAllocation::~FailingAllocation() { successesLeft = kNever; }

}  // namespace vantrel::tests

void* operator new(std::size_t size) {
  ++allocations;
  bytes += size;
  void* const memory = failsNow() ? nullptr : std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  bytesInUse += static_cast<std::int64_t>(malloc_usable_size(memory));
  mostBytesInUse = std::max(mostBytesInUse, bytesInUse);
  return memory;
}

void operator delete(void* memory) noexcept {
  ++frees;
  bytesInUse -= static_cast<std::int64_t>(malloc_usable_size(memory));
  std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept { operator delete(memory); }
