#pragma once

#include <string>

#include "vantrel/base/Export.h"
#include "vantrel/base/TextArgument.h"

/// The user's standard folders, by the XDG Base Directory Specification and the file that xdg-user-dirs
/// keeps.
///
/// Every path is absolute, never empty, and without a slash at its end unless it is "/". Nothing is created.
/// Variables that hold no absolute path are ignored. Threads: any, as long as none changes the environment.
namespace vantrel::folders {

/// $HOME, else what the user database says, else "/".
VANTREL_EXPORT std::string home();

/// $XDG_CONFIG_HOME, else ~/.config.
VANTREL_EXPORT std::string config();

/// $XDG_CACHE_HOME, else ~/.cache.
VANTREL_EXPORT std::string cache();

/// $XDG_DATA_HOME, else ~/.local/share.
VANTREL_EXPORT std::string data();

/// A folder that the user named in user-dirs.dirs under the configuration folder, as "MUSIC" or "DOWNLOAD";
/// else the home folder's `otherwise`.
VANTREL_EXPORT std::string user(TextArgument name, TextArgument otherwise);

}  // namespace vantrel::folders
