#include "apps/vantrel/PlayList.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/ScratchFolder.h"

namespace app {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

class PlayList : public testing::Test {
 protected:
  fs::path file(const std::string& name) const {
    fs::create_directories((folder_ / name).parent_path());
    return scratch_.put(name, "x");
  }

  /// Paths of the entries below the folder, relative to it.
  std::vector<std::string> names(const std::vector<std::string>& paths) const {
    std::vector<std::string> found;
    for (const auto& entry : collectMusic(paths))
      found.push_back(fs::path(*entry->mPath()).lexically_relative(folder_));
    return found;
  }

  vantrel::tests::ScratchFolder scratch_;
  fs::path folder_ = fs::canonical(scratch_.path());
};

TEST_F(PlayList, FoldersAreSearchedAtAnyDepthInNameOrder) {
  for (const char* name : {"b.mp3", "a/2.ogg", "a/1.FLAC", "a b/1.wav", "c/d/e.Opus"}) file(name);
  EXPECT_THAT(names({folder_}), ElementsAre("a/1.FLAC", "a/2.ogg", "a b/1.wav", "b.mp3", "c/d/e.Opus"));
}

TEST_F(PlayList, OnlyAudioFilesOfAFolderCount) {
  for (const char* name : {"a.mp3", "cover.jpg", "mp3", "x.mp3.txt", "._a.mp3", ".trash/b.mp3"}) file(name);
  fs::create_directory(folder_ / "folder.mp3");
  fs::create_symlink("nowhere", folder_ / "dangling.mp3");
  EXPECT_THAT(names({folder_}), ElementsAre("a.mp3"));
  EXPECT_THAT(names({folder_ / "folder.mp3"}), IsEmpty());
  EXPECT_TRUE(collectMusic({}).empty());
}

TEST_F(PlayList, LinksToFoldersAreFollowedAndEachFolderCountsOnce) {
  for (const char* name : {"music/z/1.mp3", "far/2.mp3", "far/.hidden/3.mp3"}) file(name);
  const std::pair<const char*, const char*> links[] = {
      {".", "music/here"},          {"..", "music/z/up"},     {"../far", "music/a"},
      {"../../far", "music/z/far"}, {"circle", "far/circle"}, {"../far/.hidden", "music/shown"}};
  for (const auto& [target, name] : links) fs::create_symlink(target, folder_ / name);
  EXPECT_THAT(names({folder_ / "music"}), ElementsAre("music/a/2.mp3", "music/shown/3.mp3", "music/z/1.mp3"));
}

TEST_F(PlayList, FilesThatAreNamedCountWhateverTheyAre) {
  const fs::path text = file("notes.txt");
  const fs::path hidden = file(".hidden.mp3");
  EXPECT_THAT(names({text, hidden, folder_ / "missing.mp3", text}),
              ElementsAre("notes.txt", ".hidden.mp3", "missing.mp3", "notes.txt"));
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

}  // namespace
}  // namespace app
