#include "tests/platform/AllocationCounter.h"

#include <cstdlib>
#include <new>

namespace {
constinit thread_local std::uint64_t allocations = 0;
constinit thread_local std::uint64_t frees = 0;
constinit thread_local std::uint64_t bytes = 0;
constinit thread_local bool fails = false;
}  // namespace

namespace vantrel::tests {

std::uint64_t allocationsOfThisThread() { return allocations; }
std::uint64_t freesOfThisThread() { return frees; }
std::uint64_t allocatedBytesOfThisThread() { return bytes; }
NoMemory::NoMemory() { fails = true; }
NoMemory::~NoMemory() { fails = false; }

}  // namespace vantrel::tests

void* operator new(std::size_t size) {
  ++allocations;
  bytes += size;
  if (void* memory = fails ? nullptr : std::malloc(size)) return memory;
  throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
  ++frees;
  std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept { operator delete(memory); }
