#include "vantrel/system/KWFile.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "tests/support/ScopedHost.h"
#include "tests/support/ScopedLimit.h"
#include "tests/support/ScratchFolder.h"

namespace vantrel::tests {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

constexpr std::uint64_t kUser = 7, kCaches = 13, kSupport = 14;

class KWFileTest : public testing::Test {
 protected:
  KWFileTest() {
    for (const char* name : {"XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_DATA_HOME"}) unsetenv(name);
    setenv("HOME", at("home").c_str(), 1);
  }

  std::string at(const std::string& name) const { return folder_.at(name); }

  std::string write(const std::string& name, const std::string& contents) const {
    fs::create_directories(fs::path(at(name)).parent_path());
    return folder_.put(name, contents);
  }

  const ScratchFolder folder_;
};

TEST_F(KWFileTest, CreatesAnEmptyFileWithTheFoldersAboveItAndLeavesAFolder) {
  write("folder/kept", "contents");
  for (const char* name : {"x/y/x", "x/y/x", "folder", "folder/new"})  // a name may occur twice in a path
    EXPECT_TRUE(KWFile::createPath(at(name))) << name;
  EXPECT_EQ(contentsOf(at("x/y/x")), "");
  EXPECT_EQ(contentsOf(at("folder/kept")), "contents");
  EXPECT_FALSE(KWFile::createPath(at("folder/kept/below/it")));
  EXPECT_EQ(contentsOf(at("folder/kept")), "contents");
  EXPECT_TRUE(KWFile::createPath(at("folder/kept")));
  EXPECT_EQ(contentsOf(at("folder/kept")), "");
  EXPECT_EQ(KWFile::subPaths(folder_.path())->size(), 6U);
}

TEST_F(KWFileTest, CreatesBelowTheStandardFolderOnce) {
  const std::string folder = at("home/.cache/a/b");
  EXPECT_EQ(KWFile::createOn_MiddlePath_File(kCaches, "a/b", std::nullopt), folder);
  EXPECT_TRUE(fs::is_directory(folder));
  for (const char* contents : {"", "kept"}) {
    EXPECT_EQ(KWFile::createOn_MiddlePath_File(kCaches, "a/b", "c"), folder + "/c");
    EXPECT_EQ(contentsOf(folder + "/c"), contents);
    write("home/.cache/a/b/c", "kept");
  }
  EXPECT_TRUE(fs::exists(KWFile::createOn_MiddlePath_File(kSupport, std::nullopt, "d")));
}

TEST_F(KWFileTest, ComposesPathsAndFindsWhatIsThere) {
  EXPECT_EQ(KWFile::listPath_MiddlePath_File(kUser, "", std::nullopt), at("home"));
  EXPECT_EQ(KWFile::listPath_MiddlePath_File(kUser, fs::path("/a/b/"), "c"), at("home/a/b/c"));
  EXPECT_EQ(KWFile::listPath_MiddlePath_File(kUser, "", "c"), at("home/c"));
  EXPECT_FALSE(fs::exists(at("home")));
  EXPECT_EQ(KWFile::findPath_MiddlePath_File(kUser, "a", "c"), std::nullopt);
  write("home/a/c", "");
  EXPECT_EQ(KWFile::findPath_MiddlePath_File(kUser, "a", "c"), at("home/a/c"));
  EXPECT_EQ(KWFile::findPath_MiddlePath_File(kUser, "a", std::nullopt), at("home/a"));
  fs::create_symlink("nowhere", at("home/a/dangling"));
  EXPECT_EQ(KWFile::findPath_MiddlePath_File(kUser, "a", "dangling"), std::nullopt);
  EXPECT_EQ(KWFile::sizeOfFile(at("home/a/dangling")), 0);
  EXPECT_EQ(KWFile::sizeOfFile(write("home/a/nowhere", "abc")), 3);
  EXPECT_EQ(KWFile::sizeOfFile(at("home/a/dangling")), 3) << "the size of what a link leads to";
}

TEST_F(KWFileTest, StandardFoldersHaveNumbers) {
  write("home/.config/user-dirs.dirs",
        "XDG_DOCUMENTS_DIR=\"$HOME/1\"\nXDG_DESKTOP_DIR=\"$HOME/2\"\nXDG_DOWNLOAD_DIR=\"$HOME/3\"\n"
        "XDG_VIDEOS_DIR=\"$HOME/4\"\nXDG_MUSIC_DIR=\"$HOME/5\"\nXDG_PICTURES_DIR=\"$HOME/6\"\n"
        "XDG_PUBLICSHARE_DIR=\"$HOME/7\"");
  const std::pair<std::uint64_t, const char*> folders[] = {
      {5, "/.config"}, {13, "/.cache"}, {14, "/.local/share"},
      {9, "/1"},       {12, "/2"},      {15, "/3"},
      {17, "/4"},      {18, "/5"},      {19, "/6"},
      {21, "/7"},      {7, ""},         {0, ""}};
  for (const auto& [base, folder] : folders)
    EXPECT_EQ(KWFile::listPath_MiddlePath_File(base, "", std::nullopt), at("home") + folder);
}

TEST_F(KWFileTest, SizesForPeople) {
  // The last is -976562500 in single precision.
  std::istringstream sizes(
      "0 0.00Kb 500 0.49Kb -2048 -2.00Kb 1048575 1024.00Kb 1048576 1.00Mb 1572864 1.50Mb "
      "1073741823 1024.00Mb 1073741824 1.00Gb 1099511627776 1.00Tb 3298534883328 3.00Tb "
      "1125899906842623 1024.00Tb 1125899906842624 -1 9223372036854775807 -1 "
      "-1000000000000 -976562496.00Kb");
  std::int64_t bytes = 0;
  for (std::string text; sizes >> bytes >> text;) EXPECT_EQ(KWFile::fileByte(bytes), text) << bytes;
  EXPECT_EQ(bytes, -1'000'000'000'000);
}

TEST_F(KWFileTest, RemovesFilesTreesAndLinksButNotWhatLinksLeadTo) {
  write("outside/kept", "kept");
  write("tree/a/b/file", "");
  fs::create_directory_symlink(at("outside"), at("tree/a/link"));
  fs::create_directory_symlink(at("outside"), at("link"));
  EXPECT_TRUE(KWFile::removePath(at("link/")));
  EXPECT_TRUE(KWFile::removePath(at("tree")));
  EXPECT_FALSE(fs::exists(at("tree")));
  EXPECT_EQ(contentsOf(at("outside/kept")), "kept");
  EXPECT_TRUE(KWFile::removePath(at("outside/kept")));
  EXPECT_FALSE(KWFile::removePath(at("outside/kept")));
  for (const std::string& path : {"/"s, "//"s, at("outside/."), at("outside/..")}) {
    EXPECT_FALSE(KWFile::removePath(path)) << path;
  }
  EXPECT_TRUE(fs::is_directory(at("outside")));
}

TEST_F(KWFileTest, ListsAndRemovesTreesDeeperThanAnyPathCanName) {
  constexpr int kDepth = 60;
  const std::string name(200, 'd');
  fs::create_directory(at("deep"));
  int folder = ::open(at("deep").c_str(), O_RDONLY | O_DIRECTORY);
  for (int level = 0; level < kDepth; ++level) {
    ASSERT_EQ(::mkdirat(folder, name.c_str(), 0755), 0);
    const int below = ::openat(folder, name.c_str(), O_RDONLY | O_DIRECTORY);
    ::close(folder);
    folder = below;
  }
  ::close(folder);
  // Nor may a descriptor be needed for each level.
  const ScopedLimit few(RLIMIT_NOFILE, kDepth / 2);
  const auto paths = KWFile::subPaths(at("deep"));
  ASSERT_TRUE(paths);
  EXPECT_EQ(paths->size(), std::size_t{kDepth});
  EXPECT_EQ(paths->back().size(), kDepth * (name.size() + 1) - 1);
  EXPECT_TRUE(KWFile::removePath(at("deep")));
  EXPECT_FALSE(fs::exists(at("deep")));
}

TEST_F(KWFileTest, ListsEverythingBelowAFolderWithoutFollowingLinks) {
  write("tree/a/file", "");
  write("tree/bytes\xff", "");
  fs::create_directory(at("tree/empty"));
  fs::create_directory_symlink("..", at("tree/a/loop"));
  fs::create_symlink("nowhere", at("tree/dangling"));
  const auto paths = KWFile::subPaths(at("tree"));
  ASSERT_TRUE(paths);
  EXPECT_THAT(*paths, UnorderedElementsAre("a", "a/file", "a/loop", "bytes\xff", "empty", "dangling"));
  EXPECT_LT(std::find(paths->begin(), paths->end(), "a"), std::find(paths->begin(), paths->end(), "a/file"));
  EXPECT_THAT(*KWFile::subPaths(at("tree/a/loop/empty")), IsEmpty());
  EXPECT_EQ(KWFile::subPaths(at("tree/a/file")), std::nullopt);
  EXPECT_EQ(KWFile::subPaths(at("none")), std::nullopt);
  EXPECT_TRUE(KWFile::removePath(at("tree/bytes\xff")));
  EXPECT_TRUE(KWFile::removePath(at("tree")));
}

TEST_F(KWFileTest, AppendsToExistingFilesOnlyAndReplacesAnyWhichRenamingDoesToo) {
  write("file", "AB");
  KWFile::writeData_endFile(Bytes::copyOf("CD"), at("file"));
  EXPECT_EQ(contentsOf(at("file")), "ABCD");
  EXPECT_TRUE(KWFile::writeData_fillFile(Bytes::copyOf("EF"), at("file")));
  EXPECT_EQ(contentsOf(at("file")), "EF");
  KWFile::writeData_endFile(Bytes::copyOf("CD"), at("none"));
  EXPECT_FALSE(fs::exists(at("none")));
  write("other", "CD");
  EXPECT_TRUE(KWFile::renameOldName_NewName(at("file"), at("other")));
  EXPECT_EQ(contentsOf(at("other")), "EF");
  EXPECT_FALSE(KWFile::renameOldName_NewName(at("file"), at("other")));
  const ScopedLimit disk(RLIMIT_FSIZE, 50'000);
  KWFile::writeData_endFile(Bytes(std::vector<std::uint8_t>(100'000, 'x')), at("other"));
  EXPECT_EQ(contentsOf(at("other")), "EF") << "a full disk leaves the old contents";
}

TEST_F(KWFileTest, FindsResourcesOfTheApplication) {
  write("resources/picture.png", "");
  write("resources/de.lproj/texts", "");
  write("secret", "");
  Host host;
  host.bundle = std::make_shared<Bundle>(at("resources"));
  const ScopedHost installed(host);
  EXPECT_EQ(KWFile::find("picture.png"), at("resources/picture.png"));
  for (const std::string& name : {"none.png"s, "../secret"s, "picture.png\0x"s})
    EXPECT_EQ(KWFile::find(name), std::nullopt) << name;
  EXPECT_EQ(KWFile::find_File("de.lproj", "texts"), at("resources/de.lproj/texts"));
  for (const auto& [folder, name] : {std::pair{"de.lproj", "none"}, {"fr.lproj", "texts"}, {"..", "secret"}})
    EXPECT_EQ(KWFile::find_File(folder, name), "") << folder;
}

TEST_F(KWFileTest, ReadsJsonAndText) {
  EXPECT_EQ(KWFile::JsonPath(write("good.json", " {\"a\": [1, \"\u00e9\"]}\n")),
            ValueTree::dictionary({{"a", ValueTree::list({1, "\u00e9"})}}));
  EXPECT_EQ(KWFile::JsonPath(write("bad.json", "{\"a\": ")), std::nullopt);
  EXPECT_EQ(KWFile::JsonData(Bytes::copyOf("[true]")), ValueTree::list({true}));
  EXPECT_EQ(KWFile::JsonData(Bytes()), std::nullopt);
  EXPECT_EQ(KWFile::JsonData(std::nullopt), std::nullopt);

  const std::string text = "\u6f22\u5b57\n"s + std::string(100'000, 'x') + "\0end"s;
  EXPECT_EQ(KWFile::stringPath(write("text", text)), text);
  EXPECT_EQ(KWFile::stringPath(write("empty", "")), "");
  EXPECT_EQ(KWFile::stringPath(write("latin", "caf\xe9")), std::nullopt);
}

TEST_F(KWFileTest, WhatIsNoFileIsNeitherWrittenNorRead) {
  write("file", "kept");
  write("folder/file", "kept");
  ASSERT_EQ(::mkfifo(at("pipe").c_str(), 0600), 0);
  const auto refuses = [&](const PathArgument& path) {
    KWFile::writeData_endFile(Bytes::copyOf("x"), path);
    return !KWFile::writeData_fillFile(Bytes::copyOf("x"), path) && !KWFile::stringPath(path) &&
           !KWFile::JsonPath(path);
  };
  for (const std::string& path : {at("folder"), at("pipe"), "/dev/null"s, at("none/below")})
    EXPECT_TRUE(refuses(path)) << path;
  EXPECT_TRUE(fs::is_fifo(at("pipe")));
  EXPECT_TRUE(fs::is_character_file("/dev/null"));
  // Absent paths, empty ones and those with NUL bytes name nothing.
  const std::string cut[] = {at("file") + "\0"s, at("file\0/x"s)};
  const char* const unset = nullptr;
  for (const PathArgument path :
       {PathArgument(unset), PathArgument(""), PathArgument(cut[0]), PathArgument(cut[1])}) {
    EXPECT_TRUE(refuses(path));
    EXPECT_FALSE(KWFile::createPath(path) || KWFile::removePath(path) || KWFile::subPaths(path));
    EXPECT_FALSE(KWFile::renameOldName_NewName(path, at("other")));
    EXPECT_FALSE(KWFile::renameOldName_NewName(at("file"), path));
    EXPECT_EQ(KWFile::sizeOfFile(path), 0);
  }
  EXPECT_EQ(KWFile::findPath_MiddlePath_File(kUser, "\0"s, std::nullopt), std::nullopt);
  KWFile::createOn_MiddlePath_File(kUser, "m\0n"s, "f\0g"s);
  EXPECT_EQ(contentsOf(at("file")) + contentsOf(at("folder/file")), "keptkept");
  EXPECT_THAT(*KWFile::subPaths(folder_.path()),
              UnorderedElementsAre("file", "folder", "folder/file", "pipe"));
}

}  // namespace
}  // namespace vantrel::tests
