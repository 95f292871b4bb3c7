#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "tests/backends/AudioFiles.h"
#include "vantrel/backends/gstreamer/GStreamerFilePlayers.h"
#include "vantrel/loop/RunLoop.h"

namespace vantrel {
namespace {

using namespace std::chrono_literals;

struct Use {
  long kilobytes = 0;
  long descriptors = 0;
  long threads = 0;
};

long entriesOf(const char* folder) {
  return std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator());
}

Use useNow() {
  Use use;
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;)
    if (word == "RssAnon:") status >> use.kilobytes;
  use.descriptors = entriesOf("/proc/self/fd");
  use.threads = entriesOf("/proc/self/task");
  return use;
}

void changeTracks(int times, const std::vector<std::string>& paths) {
  backends::GStreamerFilePlayers factory;
  for (int i = 0; i < times; ++i) {
    const std::string& path = paths[static_cast<std::size_t>(i) % paths.size()];
    const auto player = i % 2 ? factory.openUrl(path) : factory.openFile(path);
    ASSERT_TRUE(player) << path;
    ASSERT_TRUE((*player)->play());
    RunLoop::main().runFor(5ms);
  }
}

TEST(GStreamerSoak, AThousandTrackChangesKeepNoThreadDescriptorOrMemory) {
  const test::AudioFiles files;
  const std::vector<std::string> paths{files.tone("a", "1"), files.make("a.mp3", "lame --quiet a.wav a.mp3"),
                                       files.make("a.ogg", "oggenc -Q a.wav")};
  changeTracks(300, paths);
  const Use before = useNow();
  changeTracks(1000, paths);
  const Use after = useNow();
  const double perChange = static_cast<double>(after.kilobytes - before.kilobytes) / 1000;
  std::printf("per change: %.3f kB; descriptors %ld -> %ld, threads %ld -> %ld\n", perChange,
              before.descriptors, after.descriptors, before.threads, after.threads);
  EXPECT_LE(after.descriptors, before.descriptors + 2);
  EXPECT_LE(after.threads, before.threads + 2);
  EXPECT_LT(perChange, 1.0) << "a hundred thousand changes would cost more than 100 MB";
}

}  // namespace
}  // namespace vantrel
