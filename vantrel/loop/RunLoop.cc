#include "vantrel/loop/RunLoop.h"

#include <pthread.h>

#include <utility>

#include "vantrel/base/NeverDestroyed.h"
#include "vantrel/loop/detail/LoopState.h"
#include "vantrel/loop/detail/MainLoop.h"

namespace vantrel {
namespace {

/// The calling thread's, unless it is the main loop.
constinit thread_local RunLoop* ownLoop = nullptr;

constinit thread_local bool isWorker = false;

void endOwnLoop(void*) {
  // Found as long as it dies: what its tasks captured may ask for it.
  delete ownLoop;
  ownLoop = nullptr;
}

/// Ends by a key of the thread's, whose turn comes after that of all thread-local objects: their destructors
/// still find the loop, and one that asks later still gets another.
RunLoop& makeOwnLoop() {
  static pthread_key_t key;
  static const bool hasKey = pthread_key_create(&key, endOwnLoop) == 0;
  auto loop = std::make_unique<RunLoop>();
  if (hasKey) pthread_setspecific(key, loop.get());
  return *(ownLoop = loop.release());
}

}  // namespace

namespace loop::detail {
RunLoop& mainLoopForPosting() {
  // Never destroyed: other threads may post while the process exits.
  static NeverDestroyed<RunLoop> loop(nullptr, std::thread::id());
  return *loop;
}

}  // namespace loop::detail

RunLoop::RunLoop(const Clock* clock) : RunLoop(clock, std::this_thread::get_id()) {}

RunLoop::RunLoop(const Clock* clock, std::thread::id thread)
    : state_(std::make_unique<loop::detail::LoopState>(this, clock, thread)) {}

RunLoop::~RunLoop() {
  if (state_->isOrphan()) {
    static_cast<void>(state_.release());
  } else {
    state_->close();
  }
}

RunLoop& RunLoop::main() {
  RunLoop& loop = loop::detail::mainLoopForPosting();
  loop.state_->claim();
  return loop;
}

RunLoop& RunLoop::current() {
  RunLoop& mainLoop = loop::detail::mainLoopForPosting();
  if (mainLoop.isCurrent()) return mainLoop;
  if (ownLoop) return *ownLoop;
  if (!isWorker && main().isCurrent()) return mainLoop;
  return makeOwnLoop();
}

void RunLoop::declareWorkerThread() { isWorker = true; }

bool RunLoop::isCurrent() const { return state_->isCurrent(); }

void RunLoop::post(Task task) {
  if (task) state_->post(std::move(task));
}

RunLoop::TimerId RunLoop::at(Instant due, Task task) {
  return task ? state_->at(due, std::move(task)) : TimerId{};
}

RunLoop::TimerId RunLoop::after(AnyDuration delay, Task task) {
  return at(clock().now() + delay, std::move(task));
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

int RunLoop::pollTimeout() const { return state_->pollTimeout(); }

void RunLoop::run() { state_->runUntil(std::nullopt); }

void RunLoop::runFor(AnyDuration duration) {
  const Instant end = Instant{std::chrono::steady_clock::now().time_since_epoch()} + duration;
  state_->runUntil(std::chrono::steady_clock::time_point(end.sinceStart));
}

void RunLoop::stop() { state_->stop(); }

std::uint64_t RunLoop::wakeUps() const { return state_->wakeUps(); }

const Clock& RunLoop::clock() const { return state_->clock(); }

std::weak_ptr<RunLoop> RunLoop::handle() const { return state_->handle(); }

}  // namespace vantrel
