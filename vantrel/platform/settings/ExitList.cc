#include "vantrel/platform/settings/ExitList.h"

#include <cstdlib>
#include <utility>

namespace vantrel::platform::detail {

ExitList& ExitList::shared() {
  static ExitList& only = *new ExitList;
  return only;
}

void ExitList::add(const std::weak_ptr<Member>& member) {
  const std::lock_guard lock(mutex_);
  if (!std::exchange(installed_, true)) std::atexit([] { shared().run(); });
  std::erase_if(members_, [](const auto& known) { return known.expired(); });
  members_.push_back(member);
}

void ExitList::abandon(std::shared_ptr<Member> member) {
  const std::lock_guard lock(mutex_);
  abandoned_.push_back(std::move(member));
}

void ExitList::run() {
  begun_ = true;
  std::vector<std::weak_ptr<Member>> members;
  {
    const std::lock_guard lock(mutex_);
    members = members_;
  }
  for (const auto& weak : members) {
    if (const auto member = weak.lock()) member->exiting();
  }
}

}  // namespace vantrel::platform::detail
