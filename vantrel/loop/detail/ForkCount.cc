#include "vantrel/loop/detail/ForkCount.h"

#include <pthread.h>

namespace vantrel::loop::detail {

constinit std::atomic<unsigned> forksBefore{0};

namespace {

// At the start of the program, so that no use of the library has to look whether it is done.
[[maybe_unused]] const int installed =
    pthread_atfork(nullptr, nullptr, [] { forksBefore.fetch_add(1, std::memory_order_relaxed); });

}  // namespace
}  // namespace vantrel::loop::detail
