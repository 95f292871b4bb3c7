#include "vantrel/host/Host.h"

#include <system_error>
#include <utility>

#include "vantrel/base/Mutex.h"
#include "vantrel/base/NeverDestroyed.h"
#include "vantrel/host/detail/PlainDefaults.h"

namespace vantrel {
namespace {

std::filesystem::path executable() {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/exe", error);
}

std::shared_ptr<const Host> filled(Host host) {
  if (!host.musicLibrary) host.musicLibrary = std::make_shared<host::detail::EmptyMusicLibrary>();
  if (!host.audioSession) host.audioSession = std::make_shared<host::detail::RememberedVolume>();
  if (!host.settings) {
    host.settings = std::make_shared<SettingsStore>(SettingsStore::fileOfApplication(host.applicationName));
  }
  if (!host.bundle) {
    host.bundle = std::make_shared<Bundle>(Bundle::ofExecutable(executable(), host.applicationName));
  }
  return std::make_shared<const Host>(std::move(host));
}

struct Installed {
  Mutex mutex;
  std::shared_ptr<const Host> host VANTREL_GUARDED_BY(mutex);
};

Installed& installed() {
  // Never destroyed: services may ask for the host while the process exits.
  static NeverDestroyed<Installed> only;
  return *only;
}

const std::shared_ptr<const Host>& lockedCurrent(Installed& place) VANTREL_REQUIRES(place.mutex) {
  if (!place.host) place.host = filled({});
  return place.host;
}

}  // namespace

const Host& Host::current() {
  Installed& place = installed();
  const MutexLock lock(place.mutex);
  return *lockedCurrent(place);
}

std::shared_ptr<const Host> Host::install(Host host) {
  std::shared_ptr<const Host> next = filled(std::move(host));
  Installed& place = installed();
  const MutexLock lock(place.mutex);
  lockedCurrent(place);
  return std::exchange(place.host, std::move(next));
}

}  // namespace vantrel
