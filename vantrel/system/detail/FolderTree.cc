#include "vantrel/system/detail/FolderTree.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "vantrel/base/io/Descriptor.h"

namespace vantrel::system::detail {
namespace {

struct Entry {
  std::string name;
  bool isFolder = false;
};

struct Level {
  std::vector<Entry> entries;
  std::size_t next = 0;
  std::size_t pathLength = 0;  // of the relative path, up to and with the slash
  dev_t device = 0;
  ino_t node = 0;
};

struct CloseStream {
  void operator()(DIR* stream) const { ::closedir(stream); }
};

Descriptor openFolder(int at, const char* name, int flags) {
  return Descriptor(::openat(at, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC | flags));
}

bool isFolder(int folder, const dirent& entry) {
  if (entry.d_type != DT_UNKNOWN) return entry.d_type == DT_DIR;
  struct stat status {};
  return ::fstatat(folder, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(status.st_mode);
}

std::optional<Level> readLevel(int folder, std::size_t pathLength) {
  Level level;
  level.pathLength = pathLength;
  struct stat status {};
  if (::fstat(folder, &status) != 0) return std::nullopt;
  level.device = status.st_dev;
  level.node = status.st_ino;
  // Opens "." and not a duplicate: the stream gets a position of its own, and a folder whose contents cannot
  // be reached, from which there would be no way back up either, fails here.
  Descriptor own = openFolder(folder, ".", 0);
  const std::unique_ptr<DIR, CloseStream> stream(own ? ::fdopendir(own.get()) : nullptr);
  if (!stream) return std::nullopt;
  own.release();
  while (const dirent* entry = ::readdir(stream.get())) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") level.entries.push_back({std::string(name), isFolder(folder, *entry)});
  }
  return level;
}

bool isFolderOf(const Level& level, int folder) {
  struct stat status {};
  return ::fstat(folder, &status) == 0 && status.st_dev == level.device && status.st_ino == level.node;
}

}  // namespace

bool walkTree(const std::string& folder, bool followLink, const TreeVisitor& visitor) {
  Descriptor current = openFolder(AT_FDCWD, folder.c_str(), followLink ? 0 : O_NOFOLLOW);
  if (!current) return false;
  auto top = readLevel(current.get(), 0);
  if (!top) return false;
  std::vector<Level> levels;
  levels.push_back(std::move(*top));
  std::string path;

  const auto leave = [&](const Entry& entry) {
    if (visitor.left) visitor.left(current.get(), entry.name.c_str());
  };
  for (;;) {
    Level& level = levels.back();
    path.resize(level.pathLength);
    if (level.next < level.entries.size()) {
      const Entry& entry = level.entries[level.next++];
      path += entry.name;
      visitor.found(current.get(), entry.name.c_str(), path, entry.isFolder);
      if (!entry.isFolder) continue;
      path += '/';
      Descriptor below = openFolder(current.get(), entry.name.c_str(), O_NOFOLLOW);
      auto inside = below ? readLevel(below.get(), path.size()) : std::nullopt;
      if (!inside) {
        leave(entry);
        continue;
      }
      current = std::move(below);
      levels.push_back(std::move(*inside));
    } else {
      levels.pop_back();
      if (levels.empty()) return true;
      Descriptor above = openFolder(current.get(), "..", 0);
      if (!above || !isFolderOf(levels.back(), above.get())) return true;
      current = std::move(above);
      leave(levels.back().entries[levels.back().next - 1]);
    }
  }
}

}  // namespace vantrel::system::detail
