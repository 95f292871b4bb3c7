// A program that has a loop of its own, here a plain poll() on standard input, and drives the library's main
// loop inside it: poll the library's descriptor beside the program's own, for no longer than until the next
// due moment, and call turn() whenever poll() returns.
//
//   $ ./host_loop
//   Type a line, or "quit". A timer ticks meanwhile.

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <limits>
#include <string>

#include "vantrel/loop/RunLoop.h"
#include "vantrel/system/KWAction.h"
#include "vantrel/system/KWNotice.h"

namespace {

using vantrel::Duration;
using vantrel::KWAction;
using vantrel::KWNotice;
using vantrel::Notification;
using vantrel::NotificationBus;
using vantrel::RunLoop;
using vantrel::Timer;
using vantrel::ValueTree;

/// Milliseconds that poll() may wait; rounded up, or it would return just before the moment again and again.
int pollTimeout(const RunLoop& loop) {
  const auto due = loop.nextDue();
  if (!due) return -1;
  const Duration left = std::max(*due - loop.clock().now(), Duration{0});
  const auto count = std::chrono::ceil<std::chrono::milliseconds>(left).count();
  return static_cast<int>(std::min<long long>(count, std::numeric_limits<int>::max()));
}

/// Reads what is there and posts every whole line as an event. False at the end of the input.
bool readInput(std::string& pending) {
  std::array<char, 4096> buffer;
  const ssize_t count = read(STDIN_FILENO, buffer.data(), buffer.size());
  if (count <= 0) return false;
  pending.append(buffer.data(), static_cast<std::size_t>(count));
  for (std::size_t end; (end = pending.find('\n')) != std::string::npos; pending.erase(0, end + 1)) {
    const std::string line = pending.substr(0, end);
    if (line == "quit") return false;
    KWNotice::post_Object("LINE", ValueTree(line));
  }
  return true;
}

}  // namespace

int main() {
  RunLoop& loop = RunLoop::main();

  int ticks = 0;
  const auto timer = KWAction::timingStart_target_Time(
      [&](Timer&) { std::printf("tick %d\n", ++ticks), std::fflush(stdout); }, nullptr, 0.5);

  // A line is counted in the background; the answer comes back on this thread.
  const auto lines = NotificationBus::shared().add("LINE", [](const Notification& event) {
    KWAction::subTask([text = std::string(event.object->asString().value_or(""))] {
      const auto letters = std::count_if(text.begin(), text.end(), [](unsigned char c) { return c > ' '; });
      KWAction::mainTask([letters] { std::printf("%td characters\n", letters), std::fflush(stdout); });
    });
  });

  std::puts("Type a line, or \"quit\". A timer ticks meanwhile.");
  std::string pending;
  for (;;) {
    std::array<pollfd, 2> watched{pollfd{STDIN_FILENO, POLLIN, 0}, pollfd{loop.pollDescriptor(), POLLIN, 0}};
    if (poll(watched.data(), watched.size(), pollTimeout(loop)) < 0) continue;  // a signal
    if (watched[0].revents != 0 && !readInput(pending)) break;
    loop.turn();
  }
  KWAction::timingStop(timer);
}
