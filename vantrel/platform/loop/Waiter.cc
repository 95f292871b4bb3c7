#include "vantrel/platform/loop/Waiter.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <limits>

#include "vantrel/platform/Log.h"

namespace vantrel::platform::detail {
namespace {

/// The token of the event descriptor itself.
constexpr std::uint64_t kWakeToken = ~std::uint64_t{0};

/// Rounded up: a wait that ends just before the moment would make the loop spin.
int milliseconds(std::optional<Duration> atMost) {
  if (!atMost) return -1;
  const auto count = std::chrono::ceil<std::chrono::milliseconds>(std::max(*atMost, Duration{0})).count();
  return static_cast<int>(std::min<std::int64_t>(count, std::numeric_limits<int>::max()));
}

std::uint32_t eventsOf(RunLoop::Interest interest) {
  switch (interest) {
    case RunLoop::Interest::Read:
      return EPOLLIN;
    case RunLoop::Interest::Write:
      return EPOLLOUT;
    case RunLoop::Interest::ReadWrite:
      return EPOLLIN | EPOLLOUT;
  }
  return 0;
}

}  // namespace

Waiter::Waiter() : poll_(epoll_create1(EPOLL_CLOEXEC)), event_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  epoll_event event{};
  // By edges: a wait that reports the wake has taken it, so that it need not be read as well.
  event.events = EPOLLIN | EPOLLET;
  event.data.u64 = kWakeToken;
  if (poll_ < 0 || event_ < 0 || epoll_ctl(poll_, EPOLL_CTL_ADD, event_, &event) != 0) {
    // Without descriptors no loop can keep its promises, and there is no caller to tell.
    platform::log("RunLoop: the system has no descriptor left.");
    std::abort();
  }
}

Waiter::~Waiter() {
  close(event_);
  close(poll_);
}

void Waiter::wake() {
  const std::uint64_t one = 1;
  // A full counter is readable as well, so the result does not matter.
  [[maybe_unused]] const ssize_t written = write(event_, &one, sizeof one);
}

void Waiter::clearWake() {
  std::uint64_t count = 0;
  [[maybe_unused]] const ssize_t taken = read(event_, &count, sizeof count);
}

bool Waiter::watch(int descriptor, RunLoop::Interest interest, std::uint64_t token) {
  epoll_event event{};
  event.events = eventsOf(interest);
  event.data.u64 = token;
  if (epoll_ctl(poll_, EPOLL_CTL_ADD, descriptor, &event) == 0) return true;
  return errno == EEXIST && epoll_ctl(poll_, EPOLL_CTL_MOD, descriptor, &event) == 0;
}

void Waiter::unwatch(int descriptor) {
  epoll_event ignored{};
  epoll_ctl(poll_, EPOLL_CTL_DEL, descriptor, &ignored);
}

std::vector<std::uint64_t> Waiter::ready(std::size_t most) {
  // One more than asked for: the event descriptor may be among them.
  std::vector<epoll_event> events(most + 1);
  const int count = epoll_wait(poll_, events.data(), static_cast<int>(events.size()), 0);
  std::vector<std::uint64_t> tokens;
  for (int i = 0; i < count; ++i) {
    const std::uint64_t token = events[i].data.u64;  // a copy: the event is packed
    if (token != kWakeToken) {
      tokens.push_back(token);
    } else {
      wake();  // not taken by looking here
    }
  }
  return tokens;
}

bool Waiter::wait(std::optional<Duration> atMost) {
  epoll_event event{};
  // Interrupted by a signal counts as woken: the loop looks again and sleeps on.
  return epoll_wait(poll_, &event, 1, milliseconds(atMost)) == 1 && event.data.u64 == kWakeToken;
}

}  // namespace vantrel::platform::detail
