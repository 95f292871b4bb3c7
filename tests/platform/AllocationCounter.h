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

}  // namespace vantrel::tests
