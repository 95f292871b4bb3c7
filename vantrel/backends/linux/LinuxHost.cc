#include "vantrel/backends/linux/LinuxHost.h"

#include <memory>
#include <utility>

#include "vantrel/backends/gstreamer/GStreamerFilePlayers.h"
#include "vantrel/host/Host.h"

namespace vantrel::backends {

void installLinuxHost(const std::string& applicationName) {
  Host host;
  if (!applicationName.empty()) host.applicationName = applicationName;
  host.filePlayers = std::make_shared<GStreamerFilePlayers>();
  Host::install(std::move(host));
}

}  // namespace vantrel::backends
