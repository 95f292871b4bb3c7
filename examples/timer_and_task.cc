// A timer on the main thread and work in the background whose result comes back to it.
#include <iostream>

#include "vantrel/loop/BackgroundQueue.h"
#include "vantrel/loop/MainQueue.h"
#include "vantrel/loop/Timer.h"

using namespace vantrel;
using namespace std::chrono_literals;

int main() {
  RunLoop& loop = RunLoop::main();
  int ticks = 0;
  Timer::repeating(50ms, [&ticks](Timer&) { std::cout << "tick " << ++ticks << '\n'; });

  BackgroundQueue::shared().post([] {
    std::uint64_t sum = 0;
    for (std::uint64_t i = 1; i <= 1'000'000; ++i) sum += i;
    MainQueue::post([sum] { std::cout << "the sum is " << sum << '\n'; });
  });

  loop.after(500ms, [&loop] { loop.stop(); });
  loop.run();
}
