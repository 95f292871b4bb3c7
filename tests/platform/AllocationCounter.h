#pragma once

#include <cstdint>

namespace vantrel::tests {

/// How often the calling thread has called operator new; the whole program counts.
std::uint64_t allocationsOfThisThread();

}  // namespace vantrel::tests
