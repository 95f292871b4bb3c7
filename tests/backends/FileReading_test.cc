#include <sys/resource.h>

#include <filesystem>

#include "tests/backends/FilePlayersFixture.h"

namespace vantrel {
namespace {

using namespace std::chrono_literals;

using test::End;
using FileReadingTest = test::FilePlayersFixture;

TEST_F(FileReadingTest, TakesNoMemoryForALargeFile) {
  openTone("1");
  const auto peak = [] {
    rusage use{};
    ::getrusage(RUSAGE_SELF, &use);
    return use.ru_maxrss;
  };
  const long before = peak();
  // Its header promises a gigabyte of sound.
  const auto player =
      open(make("large.wav",
                "cp tone.wav large.wav && truncate -s 1G large.wav && "
                "printf '\\324\\377\\377\\077' | dd status=none of=large.wav bs=1 seek=40 conv=notrunc"));
  ASSERT_NE(player, nullptr);
  player->setCurrentTime(player->duration() - 0.2);
  EXPECT_EQ(runToEnd(*player), End::Whole);
  EXPECT_LT(peak() - before, 64 << 10);
}

TEST_F(FileReadingTest, EstimatesALongRowOfFramesAndEndsWhereItWasCut) {
  tone("tone", "2.5");
  const std::string row =
      make("row.mp3",
           "lame --quiet -t -b 320 tone.wav row.mp3 && cp row.mp3 one.mp3 && "
           "for i in 1 2 3 4 5 6 7 8 9; do cat row.mp3 row.mp3 > twice && mv twice row.mp3; done");
  const auto one = open(folder_.at("one.mp3"));
  const auto player = open(row);
  ASSERT_TRUE(one && player);
  ASSERT_GT(std::filesystem::file_size(row), 36U << 20) << "no longer than what is counted";
  EXPECT_NEAR(player->duration() / one->duration(), 512, 5);

  playFor(*player, 200ms);
  std::filesystem::resize_file(row, 20'000);
  EXPECT_EQ(runToEnd(*player), End::CutOff);
}

}  // namespace
}  // namespace vantrel
