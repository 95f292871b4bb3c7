#include "vantrel/host/detail/ExitList.h"

#include <pthread.h>

#include <cstdlib>
#include <utility>

#include "vantrel/base/NeverDestroyed.h"

namespace vantrel::host::detail {

// The lock goes from one handler to the next, where the analysis cannot follow.
static void beforeFork() VANTREL_UNCHECKED { ExitList::shared().beforeFork(); }
static void afterFork() VANTREL_UNCHECKED { ExitList::shared().afterFork(); }

/// Before all other handlers are registered, so that this lock, under which nothing else is locked, is one of
/// the last that a fork takes.
[[gnu::constructor(101)]] static void followForks() { pthread_atfork(beforeFork, afterFork, afterFork); }

ExitList& ExitList::shared() {
  static NeverDestroyed<ExitList> only;
  return *only;
}

void ExitList::add(const std::weak_ptr<Member>& member) {
  const MutexLock lock(mutex_);
  if (!std::exchange(installed_, true)) std::atexit([] { shared().run(); });
  std::erase_if(members_, [](const auto& known) { return known.expired(); });
  members_.push_back(member);
}

void ExitList::abandon(std::shared_ptr<Member> member) {
  const MutexLock lock(mutex_);
  abandoned_.push_back(std::move(member));
}

void ExitList::run() {
  begun_ = true;
  if (!gate_.enter([] { shared().run(); }, [] {})) return;
  std::vector<std::weak_ptr<Member>> members;
  {
    const MutexLock lock(mutex_);
    members.swap(
        members_);  // copying would take memory; whoever changes something from now on writes at once
  }
  for (const auto& weak : members) {
    if (const auto member = weak.lock()) member->exiting();
  }
}

}  // namespace vantrel::host::detail
