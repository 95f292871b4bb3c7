#include "apps/vantrel/PlayList.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <string_view>

#include "apps/vantrel/Output.h"
#include "vantrel/system/KWFile.h"

namespace app {
namespace {

namespace fs = std::filesystem;

constexpr std::array<std::string_view, 25> kExtensions = {
    ".3ga", ".aac", ".ac3", ".aif", ".aiff", ".amr",  ".ape", ".au",  ".caf", ".flac", ".m4a", ".m4b", ".mka",
    ".mp2", ".mp3", ".mpc", ".oga", ".ogg",  ".opus", ".snd", ".spx", ".wav", ".weba", ".wma", ".wv"};

bool isHidden(const fs::path& path) {
  return std::any_of(path.begin(), path.end(),
                     [](const fs::path& part) { return part.native().starts_with('.'); });
}

std::vector<fs::path> audioFilesBelow(const fs::path& folder) {
  const auto all = vantrel::KWFile::subPaths(folder.native());
  if (!all) message("cannot read the folder " + folder.native());
  std::vector<fs::path> files;
  for (const fs::path path : all.value_or(std::vector<std::string>())) {
    std::error_code error;
    if (hasAudioExtension(path) && !isHidden(path) && fs::is_regular_file(folder / path, error))
      files.push_back(path);
  }
  std::sort(files.begin(), files.end());
  for (fs::path& file : files) file = folder / file;
  return files;
}

}  // namespace

bool hasAudioExtension(const std::string& path) {
  std::string extension = fs::path(path).extension();
  for (char& c : extension)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return std::find(kExtensions.begin(), kExtensions.end(), extension) != kExtensions.end();
}

vantrel::MusicList collectMusic(const std::vector<std::string>& paths) {
  vantrel::MusicList list;
  const auto append = [&](const fs::path& file) {
    std::error_code error;
    const fs::path whole = fs::absolute(file, error);
    auto entry = std::make_shared<vantrel::MusicOfPhoneMode>();
    entry->setMPath(error ? file : whole);
    entry->setMIndex(static_cast<std::int64_t>(list.size()));
    list.push_back(std::move(entry));
  };
  for (const fs::path path : paths) {
    std::error_code error;
    if (!fs::is_directory(path, error)) {
      append(path);
    } else {
      for (const fs::path& file : audioFilesBelow(path)) append(file);
    }
  }
  return list;
}

}  // namespace app
