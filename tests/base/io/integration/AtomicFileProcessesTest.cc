#include <gmock/gmock.h>
#include <sys/wait.h>

#include <csignal>
#include <random>

#include "tests/support/Child.h"
#include "tests/support/ScratchFolder.h"
#include "vantrel/base/io/AtomicFile.h"

namespace vantrel {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using tests::ScratchFolder;

std::span<const std::uint8_t> bytes(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

bool replace(const std::string& path, std::string_view contents) {
  return AtomicFile::replace(path, bytes(contents)).has_value();
}

/// In memory where there is such a folder: there the moments fall on all steps of a replacement alike.
fs::path fastParent() { return fs::exists("/dev/shm") ? fs::path("/dev/shm") : fs::temp_directory_path(); }

// As where the file system knows no files without a name.
TEST(AtomicFileProcesses, WritesUnderAHiddenNameWhereItMust) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root may hide /proc";
  const ScratchFolder folder;
  folder.put("file", "old");
  folder.put(".file.vantrel-tmp", "left over");
  const pid_t child = tests::startChild([&] {
    if (::chroot(folder.path().c_str()) != 0) return false;
    const bool dropped = AtomicFile::create("/dropped")->write(bytes("x")).has_value();
    auto file = AtomicFile::create("/file");
    const bool hidden = file->write(bytes("new")) && ::access("/.file.vantrel-tmp", F_OK) == 0;
    auto other = AtomicFile::create("/file");
    return dropped && hidden && other->write(bytes("newest")) && file->commit() && other->commit();
  });
  EXPECT_EQ(tests::resultOf(child), 0);
  EXPECT_EQ(folder.contentsOf("file"), "newest");
  EXPECT_THAT(folder.names(), ElementsAre("file"));
}

TEST(AtomicFileProcesses, ASignalAtAnyMomentLeavesTheOldOrTheNewFileAlone) {
  const ScratchFolder folder(fastParent());
  const std::string file = folder.put("file", "old");
  std::mt19937 random(1);
  for (int round = 0; round < 200; ++round) {
    int started[2];
    ASSERT_EQ(::pipe(started), 0);
    const pid_t child = tests::startChild([&] {
      while (replace(file, "new") && ::write(started[1], "x", 1) == 1) {
      }
      return false;
    });
    char byte = 0;
    ASSERT_EQ(::read(started[0], &byte, 1), 1);
    for (std::uint32_t turns = random() % 100'000; turns > 0; --turns) asm volatile("");
    ::kill(child, SIGTERM);
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status));
    ::close(started[0]);
    ::close(started[1]);
    ASSERT_THAT(folder.names(), ElementsAre("file")) << "round " << round;
    ASSERT_EQ(folder.contentsOf("file"), "new");
  }
}

TEST(AtomicFileProcesses, WritersOfOneFileDoNotDisturbEachOther) {
  // Under hidden names, too, where one may take another's file that is not locked yet for a left-over.
  for (const bool underNames : {false, true}) {
    if (underNames && ::geteuid() != 0) GTEST_SKIP() << "only root may hide /proc";
    const ScratchFolder folder(fastParent());
    folder.put("file", "old");
    pid_t children[3];
    for (pid_t& child : children) {
      child = tests::startChild([&] {
        if (underNames && ::chroot(folder.path().c_str()) != 0) return false;
        int round = 0;
        while (round < 2000 && replace(underNames ? "/file" : folder.at("file"), "new")) ++round;
        return round == 2000;
      });
    }
    for (const pid_t child : children) EXPECT_EQ(tests::resultOf(child), 0);
    EXPECT_EQ(folder.contentsOf("file"), "new");
    EXPECT_THAT(folder.names(), ElementsAre("file"));
  }
}

}  // namespace
}  // namespace vantrel
