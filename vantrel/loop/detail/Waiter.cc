#include "vantrel/loop/detail/Waiter.h"

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <limits>
#include <new>
#include <span>
#include <vector>

namespace vantrel::loop::detail {
namespace {

/// The token of the event descriptor itself.
constexpr std::uint64_t kWakeToken = ~std::uint64_t{0};

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

/// By edges: a wait that reports the wake has taken it, so that it need not be cleared as well.
epoll_event wakeEvent(bool on) {
  epoll_event event{};
  event.events = on ? EPOLLIN | EPOLLET : 0;
  event.data.u64 = kWakeToken;
  return event;
}

}  // namespace

bool Waiter::open() { return openAs(-1); }

bool Waiter::openAs(int number) {
  int poll = epoll_create1(EPOLL_CLOEXEC);
  if (poll >= 0 && number >= 0 && poll != number) {
    const int moved = dup3(poll, number, O_CLOEXEC);
    ::close(poll);
    poll = moved;
  }
  if (poll < 0) return false;
  // Always readable: the poll descriptor is told whether that counts, in one call that also fails, and harms
  // nobody, when either number has come to mean something else.
  const int event = eventfd(1, EFD_CLOEXEC | EFD_NONBLOCK);
  epoll_event quiet = wakeEvent(false);
  if (event >= 0 && epoll_ctl(poll, EPOLL_CTL_ADD, event, &quiet) == 0) {
    event_ = event;
    poll_ = poll;
    return true;
  }
  const int reason = errno;
  if (event >= 0) ::close(event);
  ::close(poll);
  errno = reason;
  return false;
}

void Waiter::close() {
  if (isOpen() && isIntact()) {
    ::close(event_);
    ::close(poll_);
  }
  forget();
}

void Waiter::renewInChild() {
  const int number = poll_;
  if (!isOpen() || !isIntact()) return forget();
  close();
  openAs(number);
}

bool Waiter::isIntact() const {
  // Changes nothing, for a parent may share them: it is refused because it is there already.
  epoll_event quiet = wakeEvent(false);
  if (epoll_ctl(poll_, EPOLL_CTL_ADD, event_, &quiet) != 0) return errno == EEXIST;
  epoll_ctl(poll_, EPOLL_CTL_DEL, event_, &quiet);
  return false;
}

void Waiter::forget() {
  poll_ = -1;
  event_ = -1;
}

bool Waiter::sharesNumberWith(const Waiter& other) const {
  if (!isOpen() || !other.isOpen()) return false;
  return poll_ == other.poll_ || poll_ == other.event_ || event_ == other.poll_ || event_ == other.event_;
}

bool Waiter::setWake(bool on) {
  epoll_event event = wakeEvent(on);
  return epoll_ctl(poll_, EPOLL_CTL_MOD, event_, &event) == 0;
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

bool Waiter::visitReady(std::size_t most, Call call, const void* visit) {
  std::array<epoll_event, 64> few;
  std::vector<epoll_event> many;
  std::span<epoll_event> events = few;
  // One more than asked for: the event descriptor may be among them.
  if (most + 1 > few.size()) {
    try {
      many.resize(most + 1);
      events = many;
    } catch (const std::bad_alloc&) {
      // The system reports the others when it is asked again.
    }
  }
  const int count = epoll_wait(poll_, events.data(), static_cast<int>(events.size()), 0);
  if (count < 0) return errno == EINTR;
  events = events.first(static_cast<std::size_t>(count));
  const auto isWake = [](const epoll_event& event) { return event.data.u64 == kWakeToken; };
  if (std::any_of(events.begin(), events.end(), isWake)) wake();  // not taken by looking here
  for (const epoll_event& event : events) {
    const std::uint64_t token = event.data.u64;  // a copy: the event is packed
    if (token != kWakeToken) call(visit, token);
  }
  return true;
}

int Waiter::milliseconds(std::optional<Duration> atMost) {
  if (!atMost) return -1;
  const auto count = std::chrono::ceil<std::chrono::milliseconds>(std::max(*atMost, Duration{0})).count();
  return static_cast<int>(std::min<std::int64_t>(count, std::numeric_limits<int>::max()));
}

Waiter::Woken Waiter::wait(std::optional<Duration> atMost) {
  epoll_event event{};
  const int count = epoll_wait(poll_, &event, 1, milliseconds(atMost));
  // Interrupted by a signal: the loop looks again and sleeps on.
  if (count < 0 && errno != EINTR) return Woken::Lost;
  return count == 1 && event.data.u64 == kWakeToken ? Woken::ByWake : Woken::Otherwise;
}

}  // namespace vantrel::loop::detail
