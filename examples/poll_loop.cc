// The library inside a program's own loop, here a plain poll() on standard input.
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <iostream>

#include "vantrel/loop/BackgroundQueue.h"
#include "vantrel/loop/MainQueue.h"
#include "vantrel/loop/Timer.h"

using namespace vantrel;
using namespace std::chrono_literals;

int main() {
  RunLoop& loop = RunLoop::main();
  int ticks = 0;
  Timer::repeating(50ms, [&ticks](Timer&) { std::cout << "tick " << ++ticks << std::endl; });

  for (;;) {
    pollfd watched[] = {{STDIN_FILENO, POLLIN, 0}, {loop.pollDescriptor(), POLLIN, 0}};
    poll(watched, 2, loop.pollTimeout());
    loop.turn();
    if (watched[0].revents == 0) continue;
    char text[256];
    const ssize_t size = read(STDIN_FILENO, text, sizeof text);
    if (size <= 0) break;
    BackgroundQueue::shared().post([line = std::string(text, static_cast<std::size_t>(size))] {
      const auto blanks = std::count(line.begin(), line.end(), ' ');
      MainQueue::post([blanks] { std::cout << blanks << " blanks" << std::endl; });
    });
  }
}
