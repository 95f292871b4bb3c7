#include "apps/vantrel/PlayList.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <set>
#include <string_view>
#include <utility>

#include "apps/vantrel/Output.h"

namespace app {
namespace {

namespace fs = std::filesystem;

// What the plug-ins that the set-up installs can open.
constexpr std::array<std::string_view, 23> kExtensions = {
    ".3ga", ".aac", ".ac3", ".aif", ".aiff", ".amr",  ".ape", ".au",  ".flac", ".m4a",  ".m4b", ".mka",
    ".mp2", ".mp3", ".mpc", ".oga", ".ogg",  ".opus", ".snd", ".spx", ".wav",  ".weba", ".wv"};

/// The audio files below a folder. What links lead to is looked at once everything else has been, and no
/// folder twice: links may go round in circles.
class Search {
 public:
  explicit Search(const fs::path& folder) : folders_{folder} {
    while (!folders_.empty() || !links_.empty()) {
      auto& next = folders_.empty() ? links_ : folders_;
      const fs::path path = *next.begin();
      next.erase(next.begin());
      look(path);
    }
  }

  const std::set<fs::path>& files() const { return files_; }

 private:
  void look(const fs::path& folder) {
    struct stat status {};
    if (stat(folder.c_str(), &status) == 0 && !seen_.emplace(status.st_dev, status.st_ino).second) return;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error); !error && entry != fs::directory_iterator();
         entry.increment(error))
      take(*entry);
    if (error) message("cannot read the folder " + folder.native() + ": " + error.message());
  }

  void take(const fs::directory_entry& entry) {
    std::error_code error;
    if (entry.path().filename().native().starts_with('.')) return;
    if (entry.is_directory(error))
      (entry.is_symlink(error) ? links_ : folders_).insert(entry.path());
    else if (hasAudioExtension(entry.path()) && entry.is_regular_file(error))
      files_.insert(entry.path());
  }

  std::set<fs::path> folders_;
  std::set<fs::path> links_;
  std::set<fs::path> files_;
  std::set<std::pair<dev_t, ino_t>> seen_;
};

}  // namespace

bool hasAudioExtension(const std::string& path) {
  std::string extension = fs::path(path).extension();
  for (char& c : extension)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return std::find(kExtensions.begin(), kExtensions.end(), extension) != kExtensions.end();
}

vantrel::MusicList collectMusic(const std::vector<std::string>& paths) {
  std::vector<fs::path> files;
  for (const fs::path path : paths) {
    std::error_code error;
    if (!fs::is_directory(path, error)) {
      files.push_back(path);
    } else {
      const Search search(path);
      files.insert(files.end(), search.files().begin(), search.files().end());
    }
  }
  return vantrel::MusicOfPhoneMode::listOf(files);
}

}  // namespace app
