#include "tests/platform/AllocationCounter.h"

#include <cstdlib>
#include <new>

namespace {
constinit thread_local std::uint64_t allocations = 0;
}

std::uint64_t vantrel::tests::allocationsOfThisThread() { return allocations; }

void* operator new(std::size_t size) {
  ++allocations;
  if (void* memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}

void operator delete(void* memory) noexcept { std::free(memory); }

void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
