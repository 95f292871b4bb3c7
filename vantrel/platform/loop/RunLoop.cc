#include "vantrel/platform/loop/RunLoop.h"

#include <utility>

#include "vantrel/platform/loop/LoopState.h"
#include "vantrel/platform/loop/MainLoop.h"

namespace vantrel {
namespace platform::detail {
namespace {
constinit thread_local bool isWorker = false;
}

RunLoop& mainLoopForPosting() {
  // Never destroyed: other threads may post while the process exits.
  static RunLoop& loop = *new RunLoop(nullptr, std::thread::id());
  return loop;
}

void markWorkerThread() { isWorker = true; }

}  // namespace platform::detail

RunLoop::RunLoop(const Clock* clock) : RunLoop(clock, std::this_thread::get_id()) {}

RunLoop::RunLoop(const Clock* clock, std::thread::id thread)
    : state_(std::make_unique<platform::detail::LoopState>(this, clock, thread)) {}

RunLoop::~RunLoop() { state_->close(); }

RunLoop& RunLoop::main() {
  RunLoop& loop = platform::detail::mainLoopForPosting();
  loop.state_->claim();
  return loop;
}

RunLoop& RunLoop::current() {
  RunLoop& mainLoop = platform::detail::isWorker ? platform::detail::mainLoopForPosting() : main();
  if (mainLoop.isCurrent()) return mainLoop;
  thread_local RunLoop loop;
  return loop;
}

bool RunLoop::isCurrent() const { return state_->isCurrent(); }

void RunLoop::post(Task task) {
  if (task) state_->post(std::move(task));
}

RunLoop::TimerId RunLoop::at(Instant due, Task task) {
  return task ? state_->at(due, std::move(task)) : TimerId{};
}

void RunLoop::cancel(TimerId id) { state_->cancel(id); }

bool RunLoop::watch(int descriptor, Interest interest, std::function<void()> ready) {
  if (ready) return state_->watch(descriptor, interest, std::move(ready));
  state_->unwatch(descriptor);
  return false;
}

void RunLoop::unwatch(int descriptor) { state_->unwatch(descriptor); }

bool RunLoop::turn() { return state_->turn(); }

std::optional<Instant> RunLoop::nextDue() const { return state_->nextDue(); }

int RunLoop::pollDescriptor() const { return state_->descriptor(); }

void RunLoop::run() { state_->runUntil(std::nullopt); }

void RunLoop::runFor(Duration duration) {
  const Instant end = Instant{std::chrono::steady_clock::now().time_since_epoch()} + duration;
  state_->runUntil(std::chrono::steady_clock::time_point(end.sinceStart));
}

void RunLoop::stop() { state_->stop(); }

std::uint64_t RunLoop::wakeUps() const { return state_->wakeUps(); }

const Clock& RunLoop::clock() const { return state_->clock(); }

std::weak_ptr<RunLoop> RunLoop::handle() const { return state_->handle(); }

}  // namespace vantrel
