#include "vantrel/base/io/AtomicFile.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>

#include <cerrno>

#include "tests/support/ScratchFolder.h"
#include "vantrel/base/Bytes.h"

namespace vantrel {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;
using testing::ElementsAre;
using tests::AsOrdinaryUser;
using tests::ScratchFolder;

std::span<const std::uint8_t> bytes(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

bool replace(PathArgument path, std::string_view contents) {
  return AtomicFile::replace(path, bytes(contents)).has_value();
}

struct stat statusOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
  return status;
}

mode_t modeOf(const std::string& path) { return statusOf(path).st_mode & 07777; }

TEST(AtomicFile, AppearsWholeAndLeavesNothingWhenDropped) {
  const ScratchFolder folder;
  folder.put("file", "old");
  for (const bool commits : {false, true}) {
    for (const char* name : {"file", "new"}) {
      const std::string before = folder.contentsOf(name);
      auto file = AtomicFile::create(folder.at(name));
      ASSERT_TRUE(file && file->write(bytes("con")) && file->write(bytes("tents")));
      EXPECT_EQ(folder.contentsOf(name), before);
      EXPECT_THAT(folder.names(), ElementsAre("file")) << "what is being written has no name yet";
      EXPECT_EQ(commits && file->commit(), commits);
      EXPECT_EQ(folder.contentsOf(name), commits ? "contents" : before);
      if (commits) fs::remove(folder.at("new"));
    }
  }
  EXPECT_THAT(folder.names(), ElementsAre("file"));
}

TEST(AtomicFile, LinksKeepLeadingToTheirFileAndOtherNamesOfItToTheOldContents) {
  const ScratchFolder folder;
  fs::create_directory(folder.at("below"));
  fs::create_hard_link(folder.put("below/file", "old"), folder.at("other"));
  const std::pair<const char*, std::string> kLinks[] = {{"link", "below/file"},
                                                        {"chain", folder.at("link")},
                                                        {"dangling", "below/new"},
                                                        {"below/up", "../above"}};
  for (const auto& [link, target] : kLinks) fs::create_symlink(target, folder.at(link));
  for (const auto& [link, target] : kLinks) {
    EXPECT_TRUE(replace(folder.at(link), link));
    EXPECT_EQ(fs::read_symlink(folder.at(link)), target);
    EXPECT_EQ(folder.contentsOf(link), link);
  }
  EXPECT_EQ(folder.contentsOf("below/file"), "chain");
  EXPECT_EQ(folder.contentsOf("other"), "old");
  EXPECT_EQ(folder.contentsOf("above"), "below/up");
  EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(folder.at("below/new"))));
}

TEST(AtomicFile, KeepsTheModeAndTheOwner) {
  const ScratchFolder folder;
  const std::string file = folder.put("file", "old");
  ::chmod(file.c_str(), 0606);
  const mode_t mask = ::umask(027);
  EXPECT_TRUE(replace(file, "new"));
  EXPECT_TRUE(replace(folder.at("fresh"), "new"));
  EXPECT_TRUE(AtomicFile::replace(folder.at("private"), {}, 0600));
  ::umask(mask);
  EXPECT_EQ(modeOf(file), 0606u);
  EXPECT_EQ(modeOf(folder.at("fresh")), 0640u);
  EXPECT_EQ(modeOf(folder.at("private")), 0600u);
  if (::geteuid() != 0) GTEST_SKIP() << "only root may give files away";

  ASSERT_EQ(::chown(file.c_str(), AsOrdinaryUser::kNobody, 7), 0);
  ::chmod(file.c_str(), 04755);
  EXPECT_TRUE(replace(file, "by root"));
  EXPECT_EQ(statusOf(file).st_uid, AsOrdinaryUser::kNobody);
  EXPECT_EQ(statusOf(file).st_gid, 7u);
  EXPECT_EQ(modeOf(file), 04755u);
  // Another's file that everybody may write becomes one's own, without the right to act as the other.
  ASSERT_EQ(::chown(file.c_str(), 0, 7), 0);
  ::chmod(file.c_str(), 06777);
  const AsOrdinaryUser user;
  EXPECT_TRUE(replace(file, "by nobody"));
  EXPECT_EQ(statusOf(file).st_uid, AsOrdinaryUser::kNobody);
  EXPECT_EQ(modeOf(file), 0777u);
}

TEST(AtomicFile, RefusesWhatItMustNotReplace) {
  const ScratchFolder folder;
  fs::create_directories(folder.at("folder/closed"));
  ::mkfifo(folder.at("pipe").c_str(), 0666);
  ::chmod(folder.put("read-only", "kept").c_str(), 0444);
  ::chmod(folder.put("folder/closed/file", "kept").c_str(), 0666);
  ::chmod(folder.at("folder/closed").c_str(), 0555);
  fs::create_symlink("loop", folder.at("loop"));
  const std::string cut = folder.at("read-only\0x"s);
  EXPECT_EQ(AtomicFile::create(nullptr).error().code, ENOENT);
  const AsOrdinaryUser user;
  const std::pair<int, std::vector<std::string>> kRefused[] = {
      {ENOENT, {"", cut, folder.at("none/file")}},
      {EISDIR, {"/", folder.at("folder"), folder.at("folder/")}},
      {EINVAL, {"/dev/null", folder.at("pipe")}},
      {ENOTDIR, {folder.at("read-only/file")}},
      {ELOOP, {folder.at("loop")}},
      {EACCES, {folder.at("read-only"), folder.at("folder/closed/file"), folder.at("folder/closed/new")}}};
  for (const auto& [code, paths] : kRefused) {
    for (const std::string& path : paths) {
      const Result<AtomicFile> file = AtomicFile::create(path);
      EXPECT_EQ(file ? 0 : file.error().code, code) << path;
    }
  }
  EXPECT_EQ(folder.contentsOf("read-only"), "kept");
  EXPECT_EQ(folder.names().size(), 4u);
}

TEST(AtomicFile, TakesAwayWhatADeadWriterLeftAndNothingOfALivingOne) {
  const ScratchFolder folder;
  folder.put("file", "old");
  folder.put(".file.vantrel-tmp", "left over");
  EXPECT_TRUE(replace(folder.at("file"), "new"));
  EXPECT_THAT(folder.names(), ElementsAre("file"));

  const int living = ::open(folder.put(".file.vantrel-tmp", "of another writer").c_str(), O_RDONLY);
  ASSERT_EQ(::flock(living, LOCK_EX), 0);
  EXPECT_TRUE(replace(folder.at("file"), "newest"));
  ::close(living);
  EXPECT_EQ(folder.contentsOf("file"), "newest");
  EXPECT_EQ(folder.contentsOf(".file.vantrel-tmp"), "of another writer");
  fs::remove(folder.at(".file.vantrel-tmp"));

  fs::create_symlink("file", folder.at(".file.vantrel-tmp"));
  EXPECT_TRUE(replace(folder.at("file"), "beside a link"));
  EXPECT_TRUE(fs::is_symlink(folder.at(".file.vantrel-tmp")));
}

}  // namespace
}  // namespace vantrel
