// A program of operations on every kind of queue, on one thread, beside a plain deque.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>

#include "fuzz/QueueProgram.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string difference = vantrel::tests::runQueueProgram(std::span(bytes, size));
  if (!difference.empty()) {
    std::fprintf(stderr, "%s\n", difference.c_str());
    std::abort();
  }
  return 0;
}
