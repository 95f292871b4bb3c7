#include "apps/vantrel/PlayList.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace app {
namespace {

namespace fs = std::filesystem;

class PlayList : public testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = fs::temp_directory_path() / "playlist.XXXXXX";
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    folder_ = fs::canonical(pattern);
  }
  void TearDown() override { fs::remove_all(folder_); }

  fs::path file(const std::string& name) {
    fs::create_directories((folder_ / name).parent_path());
    std::ofstream(folder_ / name) << "x";
    return folder_ / name;
  }

  /// Paths of the entries below the folder, relative to it.
  std::vector<std::string> names(const std::vector<std::string>& paths) const {
    std::vector<std::string> found;
    for (const auto& entry : collectMusic(paths))
      found.push_back(fs::path(*entry->mPath()).lexically_relative(folder_));
    return found;
  }

  fs::path folder_;
};

TEST_F(PlayList, FoldersAreSearchedAtAnyDepthInNameOrder) {
  for (const char* name : {"b.mp3", "a/2.ogg", "a/1.FLAC", "a b/1.wav", "c/d/e.Opus"}) file(name);
  EXPECT_EQ(names({folder_}),
            (std::vector<std::string>{"a/1.FLAC", "a/2.ogg", "a b/1.wav", "b.mp3", "c/d/e.Opus"}));
}

TEST_F(PlayList, OnlyAudioFilesOfAFolderCount) {
  for (const char* name : {"a.mp3", "cover.jpg", "mp3", "x.mp3.txt", "._a.mp3", ".trash/b.mp3"}) file(name);
  fs::create_directory(folder_ / "folder.mp3");
  fs::create_symlink("nowhere", folder_ / "dangling.mp3");
  EXPECT_EQ(names({folder_}), std::vector<std::string>{"a.mp3"});
}

TEST_F(PlayList, LinksToFoldersAreFollowedAndEachFolderCountsOnce) {
  for (const char* name : {"music/z/1.mp3", "far/2.mp3", "far/.hidden/3.mp3"}) file(name);
  const std::pair<const char*, const char*> links[] = {
      {".", "music/here"},          {"..", "music/z/up"},     {"../far", "music/a"},
      {"../../far", "music/z/far"}, {"circle", "far/circle"}, {"../far/.hidden", "music/shown"}};
  for (const auto& [target, name] : links) fs::create_symlink(target, folder_ / name);
  EXPECT_EQ(names({folder_ / "music"}),
            (std::vector<std::string>{"music/a/2.mp3", "music/shown/3.mp3", "music/z/1.mp3"}));
}

TEST_F(PlayList, FilesThatAreNamedCountWhateverTheyAre) {
  const fs::path text = file("notes.txt");
  const fs::path hidden = file(".hidden.mp3");
  EXPECT_EQ(names({text, hidden, folder_ / "missing.mp3", text}),
            (std::vector<std::string>{"notes.txt", ".hidden.mp3", "missing.mp3", "notes.txt"}));
}

TEST_F(PlayList, EntriesCarryTheirPlaceTitleAndWholePath) {
  file("a.mp3");
  file("d/b.mp3");
  const auto list = collectMusic({folder_ / "a.mp3", folder_ / "d"});
  ASSERT_EQ(list.size(), 2U);
  EXPECT_EQ(list[1]->mIndex(), 1);
  EXPECT_EQ(list[1]->mTitle(), "b.mp3");
  const auto relative = collectMusic({"some.mp3"});
  EXPECT_EQ(relative[0]->mPath(), (fs::current_path() / "some.mp3").native());
}

TEST_F(PlayList, FoldersThatCannotBeReadGiveNothing) {
  EXPECT_TRUE(collectMusic({}).empty());
  EXPECT_TRUE(collectMusic({folder_}).empty());
}

}  // namespace
}  // namespace app
