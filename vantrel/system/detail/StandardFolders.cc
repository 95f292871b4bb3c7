#include "vantrel/system/detail/StandardFolders.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <string_view>
#include <vector>

#include "vantrel/system/detail/FileContents.h"

namespace vantrel::system::detail {
namespace {

std::string withoutEndSlashes(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

std::optional<std::string> absoluteVariable(const char* name) {
  const char* const value = std::getenv(name);
  if (!value || *value != '/') return std::nullopt;
  return withoutEndSlashes(value);
}

std::string homeFolder() {
  if (auto home = absoluteVariable("HOME")) return *home;
  std::vector<char> buffer(16'384);
  passwd entry{};
  passwd* found = nullptr;
  if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found && entry.pw_dir &&
      *entry.pw_dir == '/') {
    return withoutEndSlashes(entry.pw_dir);
  }
  return "/";
}

std::string below(std::string folder, std::string_view name) {
  if (folder != "/") folder += '/';
  return folder += name;
}

std::string variableOr(const char* variable, std::string_view belowHome) {
  if (auto value = absoluteVariable(variable)) return *value;
  return below(homeFolder(), belowHome);
}

// The value of a line NAME="$HOME/folder" or NAME="/folder", in which a backslash keeps the next character.
std::optional<std::string> quotedFolder(std::string_view value) {
  if (value.empty() || value.front() != '"') return std::nullopt;
  std::string folder;
  std::size_t at = 1;
  for (; at < value.size() && value[at] != '"'; ++at) {
    if (value[at] == '\\' && at + 1 < value.size()) ++at;
    folder += value[at];
  }
  if (at == value.size()) return std::nullopt;
  constexpr std::string_view kHome = "$HOME";
  if (folder == kHome) return homeFolder();
  if (folder.starts_with("$HOME/"))
    return withoutEndSlashes(below(homeFolder(), folder.substr(kHome.size() + 1)));
  if (folder.empty() || folder.front() != '/') return std::nullopt;
  return withoutEndSlashes(std::move(folder));
}

// As the freedesktop tool xdg-user-dirs writes it; of several lines for one name the last counts.
std::string userFolder(std::string_view name, std::string_view otherwise) {
  std::string found = below(homeFolder(), otherwise);
  const auto settings = readFile(below(variableOr("XDG_CONFIG_HOME", ".config"), "user-dirs.dirs"));
  if (!settings) return found;
  std::string key = "XDG_";
  key.append(name).append("_DIR=");
  for (std::string_view rest = settings->text(); !rest.empty();) {
    std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(rest.size(), line.size() + 1));
    line.remove_prefix(std::min(line.size(), line.find_first_not_of(" \t")));
    if (!line.starts_with(key)) continue;
    if (auto folder = quotedFolder(line.substr(key.size()))) found = *folder;
  }
  return found;
}

}  // namespace

std::string standardFolder(std::uint64_t directory) {
  switch (directory) {
    case 5:
      return variableOr("XDG_CONFIG_HOME", ".config");
    case 9:
      return userFolder("DOCUMENTS", "Documents");
    case 12:
      return userFolder("DESKTOP", "Desktop");
    case 13:
      return variableOr("XDG_CACHE_HOME", ".cache");
    case 14:
      return variableOr("XDG_DATA_HOME", ".local/share");
    case 15:
      return userFolder("DOWNLOAD", "Downloads");
    case 17:
      return userFolder("VIDEOS", "Videos");
    case 18:
      return userFolder("MUSIC", "Music");
    case 19:
      return userFolder("PICTURES", "Pictures");
    case 21:
      return userFolder("PUBLICSHARE", "Public");
    default:
      return homeFolder();
  }
}

}  // namespace vantrel::system::detail
