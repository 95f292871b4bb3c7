#include "vantrel/base/io/StandardFolders.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <string_view>
#include <vector>

#include "vantrel/base/io/Files.h"

namespace vantrel::folders {
namespace {

constexpr std::uint64_t kMostSettings = std::uint64_t{1} << 20;

std::string withoutEndSlashes(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

std::optional<std::string> absoluteVariable(const char* name) {
  const char* const value = std::getenv(name);
  if (!value || *value != '/') return std::nullopt;
  return withoutEndSlashes(value);
}

std::string below(std::string folder, std::string_view name) {
  if (folder != "/") folder += '/';
  return folder += name;
}

std::string variableOr(const char* variable, std::string_view belowHome) {
  if (auto value = absoluteVariable(variable)) return *value;
  return below(home(), belowHome);
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
  if (folder == kHome) return home();
  if (folder.starts_with("$HOME/")) return withoutEndSlashes(below(home(), folder.substr(kHome.size() + 1)));
  if (folder.empty() || folder.front() != '/') return std::nullopt;
  return withoutEndSlashes(std::move(folder));
}

}  // namespace

std::string home() {
  if (auto folder = absoluteVariable("HOME")) return *folder;
  std::vector<char> buffer(16'384);
  passwd entry{};
  passwd* found = nullptr;
  if (::getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found && entry.pw_dir &&
      *entry.pw_dir == '/') {
    return withoutEndSlashes(entry.pw_dir);
  }
  return "/";
}

std::string config() { return variableOr("XDG_CONFIG_HOME", ".config"); }
std::string cache() { return variableOr("XDG_CACHE_HOME", ".cache"); }
std::string data() { return variableOr("XDG_DATA_HOME", ".local/share"); }

// Of several lines for one name the last counts.
std::string user(TextArgument name, TextArgument otherwise) {
  std::string found = withoutEndSlashes(below(home(), *otherwise));
  const Result<Bytes> settings = files::read(below(config(), "user-dirs.dirs"), kMostSettings);
  if (!settings) return found;
  std::string key = "XDG_";
  key.append(*name).append("_DIR=");
  for (std::string_view rest = settings->text(); !rest.empty();) {
    std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(rest.size(), line.size() + 1));
    line.remove_prefix(std::min(line.size(), line.find_first_not_of(" \t")));
    if (!line.starts_with(key)) continue;
    if (auto folder = quotedFolder(line.substr(key.size()))) found = *folder;
  }
  return found;
}

}  // namespace vantrel::folders
