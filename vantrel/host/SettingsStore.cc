#include "vantrel/host/SettingsStore.h"

#include <system_error>
#include <utility>

#include "vantrel/base/Utf8.h"
#include "vantrel/base/io/StandardFolders.h"
#include "vantrel/data/PropertyListExtent.h"
#include "vantrel/host/detail/ExitList.h"
#include "vantrel/host/detail/LiveSettings.h"

namespace vantrel {
namespace {

using host::detail::ExitList;
using host::detail::LiveSettings;
using plist::Extent;

// A relative path means the folder that the process is in now, not the one that it may change to.
std::filesystem::path fixed(std::filesystem::path file) {
  std::error_code error;
  std::filesystem::path absolute = std::filesystem::absolute(file, error);
  return error ? file : absolute;
}

}  // namespace

SettingsStore::SettingsStore(std::filesystem::path file)
    : state_(std::make_shared<LiveSettings>(fixed(std::move(file)))) {}

SettingsStore::~SettingsStore() {
  state_->finish();
  if (state_->isForked()) ExitList::shared().abandon(std::move(state_));
}

std::filesystem::path SettingsStore::fileOfApplication(std::string_view applicationName) {
  std::string name(applicationName);
  for (char& c : name) {
    if (c == '/' || c == '\0') c = '_';
  }
  if (name.empty() || name == "." || name == "..") name = "vantrel";
  return std::filesystem::path(folders::config()) / name / "settings.plist";
}

bool SettingsStore::setObject_forKey(const ValueTree& value, std::string_view key) {
  if (value.kind() == ValueTree::Kind::Null) {
    removeObjectForKey(key);
    return true;
  }
  // Below the dictionary of all settings.
  std::optional<Extent> extent = plist::measure(value, 1);
  const std::optional<Extent> ofKey = plist::extentOfKey(key);
  if (!extent || !ofKey) return false;
  *extent += *ofKey;
  if (!state_->hasRoom(key, value, *extent)) return false;
  state_->change(key, value, *extent);
  return true;
}

std::optional<ValueTree> SettingsStore::objectForKey(std::string_view key) const { return state_->find(key); }

void SettingsStore::removeObjectForKey(std::string_view key) {
  if (text::isValidUtf8(key)) state_->change(key, std::nullopt, {});
}

ValueTree SettingsStore::all() const { return state_->all(); }

bool SettingsStore::synchronize() { return state_->flush(); }

}  // namespace vantrel
