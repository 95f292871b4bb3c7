#include <filesystem>
#include <fstream>
#include <string>

#include "tests/backends/FilePlayersFixture.h"

namespace vantrel {
namespace {

using namespace std::chrono_literals;

long entriesOf(const char* folder) {
  return std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator());
}

/// What the process uses now.
struct Use {
  Use() {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;)
      if (word == "RssAnon:") status >> kilobytes;
  }
  double kilobytes = 0;
  long descriptors = entriesOf("/proc/self/fd"), threads = entriesOf("/proc/self/task");
};

using GStreamerSoak = test::FilePlayersFixture;

TEST_F(GStreamerSoak, AThousandTrackChangesKeepNoThreadDescriptorOrMemory) {
  const std::string paths[] = {tone("a", "1"), make("a.mp3", "lame --quiet a.wav a.mp3"),
                               make("a.ogg", "oggenc -Q a.wav")};
  const auto changeTracks = [&](std::size_t times) {
    for (std::size_t i = 0; i < times; ++i) {
      const auto player = i % 2 ? factory_.openUrl(paths[i % 3]) : factory_.openFile(paths[i % 3]);
      ASSERT_TRUE(player) << paths[i % 3];
      playFor(**player, 5ms);
    }
  };
  changeTracks(300);
  const Use before;
  changeTracks(1000);
  const Use after;
  const double perChange = (after.kilobytes - before.kilobytes) / 1000;
  std::printf("per change: %.3f kB; descriptors %ld -> %ld, threads %ld -> %ld\n", perChange,
              before.descriptors, after.descriptors, before.threads, after.threads);
  EXPECT_LE(after.descriptors, before.descriptors + 2);
  EXPECT_LE(after.threads, before.threads + 2);
  EXPECT_LT(perChange, 1.0) << "a hundred thousand changes would cost more than 100 MB";
}

}  // namespace
}  // namespace vantrel
