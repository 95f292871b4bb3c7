#include "vantrel/host/SettingsStore.h"

#include <cerrno>
#include <string_view>
#include <system_error>
#include <utility>

#include "vantrel/base/Utf8.h"
#include "vantrel/base/io/StandardFolders.h"
#include "vantrel/data/PropertyList.h"
#include "vantrel/data/PropertyListExtent.h"
#include "vantrel/host/detail/ExitList.h"
#include "vantrel/host/detail/LiveSettings.h"

namespace vantrel {
namespace {

using host::detail::ExitList;
using host::detail::LiveSettings;
using plist::Extent;

// A relative path means the folder that the process is in now, not the one that it may change to.
std::filesystem::path fixed(const std::filesystem::path& file) {
  std::error_code error;
  std::filesystem::path absolute = std::filesystem::absolute(file, error);
  return error ? file : absolute;
}

bool isKey(TextArgument key) { return key && text::isValidUtf8(*key); }

Error refused(int code, std::string_view why) { return Error::saying(Error::kSystemDomain, code, why); }

}  // namespace

SettingsStore::SettingsStore(PathArgument file) : state_(std::make_shared<LiveSettings>(fixed(*file))) {}

SettingsStore::~SettingsStore() {
  state_->finish();
  if (state_->isForked()) ExitList::shared().abandon(std::move(state_));
}

std::filesystem::path SettingsStore::fileOfApplication(TextArgument applicationName) {
  std::string name(*applicationName);
  for (char& c : name) {
    if (c == '/' || c == '\0') c = '_';
  }
  if (name.empty() || name == "." || name == "..") name = "vantrel";
  return std::filesystem::path(folders::config()) / name / "settings.plist";
}

Result<void> SettingsStore::store(const ValueTree& value, TextArgument key) {
  if (!isKey(key)) return refused(EINVAL, "the key is absent or not valid UTF-8");
  if (value.kind() == ValueTree::Kind::Null) {
    removeObjectForKey(key);
    return {};
  }
  // Below the dictionary of all settings.
  std::optional<Extent> extent = plist::measure(value, 1);
  if (!extent) {
    const Result<Bytes> alone = plist::write(value);
    return refused(EINVAL, alone ? "nested too deeply" : alone.error().description());
  }
  *extent += plist::extentOfKey(*key).value_or(Extent::tooMuch());
  if (!state_->hasRoom(*key, value, *extent)) return refused(EFBIG, "no room beside the other settings");
  state_->change(*key, value, *extent);
  return {};
}

std::optional<ValueTree> SettingsStore::objectForKey(TextArgument key) const {
  return key ? state_->find(*key) : std::nullopt;
}

void SettingsStore::removeObjectForKey(TextArgument key) {
  if (isKey(key)) state_->change(*key, std::nullopt, {});
}

ValueTree SettingsStore::all() const { return state_->all(); }

Result<void> SettingsStore::synchronize() { return state_->flush(); }

}  // namespace vantrel
