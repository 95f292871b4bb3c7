#include "vantrel/host/detail/PendingChanges.h"

#include <utility>

namespace vantrel::host::detail {

void PendingChanges::put(std::string_view key, std::optional<ValueTree> value, plist::Extent extent) {
  Change& change = changes_.try_emplace(std::string(key)).first->second;
  extent_ -= change.extent;
  extent_ += extent;
  change = {std::move(value), extent, ++latest_};
}

const std::optional<ValueTree>* PendingChanges::find(std::string_view key) const {
  const auto found = changes_.find(key);
  return found != changes_.end() ? &found->second.value : nullptr;
}

SettingsChanges PendingChanges::all() const {
  SettingsChanges all;
  all.reserve(changes_.size());
  for (const auto& [key, change] : changes_) all.emplace_back(key, change.value);
  return all;
}

void PendingChanges::forget(Serial upTo) {
  std::erase_if(changes_, [&](const auto& entry) {
    if (entry.second.serial > upTo) return false;
    extent_ -= entry.second.extent;
    return true;
  });
}

}  // namespace vantrel::host::detail
