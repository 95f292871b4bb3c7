#pragma once

#include <string>

#include "vantrel/base/Export.h"

namespace vantrel::backends {

/// Installs what a Linux desktop supplies as the library's `Host`: audio files play through GStreamer; what
/// no back end supplies keeps the plain default that `Host` names. Call it once at a program's start, on the
/// main thread, before any service; a program that wants another choice for one member changes a copy of
/// `Host::current()` and installs that.
///
/// `applicationName` names the settings file and the resource folder; empty keeps the `Host`'s own default.
///
/// Nothing is started or opened here: each back end starts when it is first used.
VANTREL_EXPORT void installLinuxHost(const std::string& applicationName);

}  // namespace vantrel::backends
