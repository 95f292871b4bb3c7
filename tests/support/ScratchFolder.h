#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

namespace vantrel::tests {

inline std::string contentsOf(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

/// A new folder that everybody may use, removed with everything in it.
class ScratchFolder {
 public:
  explicit ScratchFolder(const std::filesystem::path& parent = std::filesystem::temp_directory_path()) {
    std::string pattern = (parent / "vantrel-XXXXXX").string();
    path_ = mkdtemp(pattern.data());
    ::chmod(path_.c_str(), 0777);
  }
  ~ScratchFolder() {
    std::error_code error;
    std::filesystem::remove_all(path_, error);
  }
  ScratchFolder(const ScratchFolder&) = delete;

  const std::string& path() const { return path_; }
  std::string at(const std::string& name) const { return path_ + "/" + name; }

  std::string put(const std::string& name, const std::string& contents) const {
    std::ofstream(at(name), std::ios::binary) << contents;
    return at(name);
  }

  std::string contentsOf(const std::string& name) const { return tests::contentsOf(at(name)); }

  /// Hidden ones, too.
  std::set<std::string> names() const {
    std::set<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(path_))
      found.insert(entry.path().filename());
    return found;
  }

 private:
  std::string path_;
};

/// While one lives, the process has the rights of an ordinary user, also where it runs as root.
class AsOrdinaryUser {
 public:
  AsOrdinaryUser() { isChanged_ = ::geteuid() == 0 && ::seteuid(kNobody) == 0; }
  ~AsOrdinaryUser() {
    if (isChanged_) isChanged_ = ::seteuid(0) != 0;
  }
  AsOrdinaryUser(const AsOrdinaryUser&) = delete;

  static constexpr uid_t kNobody = 65534;

 private:
  bool isChanged_ = false;
};

}  // namespace vantrel::tests
