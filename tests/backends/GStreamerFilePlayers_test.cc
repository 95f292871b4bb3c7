#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <limits>
#include <map>

#include "tests/backends/FilePlayersFixture.h"
#include "tests/support/LogLines.h"
#include "tests/support/Sanitizers.h"
#include "vantrel/backends/linux/LinuxHost.h"
#include "vantrel/host/Host.h"

namespace vantrel {
namespace {

using namespace std::chrono_literals;
using backends::GStreamerFilePlayers;

// A sine's root mean square lies 3.01 dB below its peak.
constexpr double kLeft = -23.01;
constexpr double kRight = -29.01;

// Some lines come once in a process, whichever test is first.
tests::LogLines everyLine;

using test::End;
using GStreamerFilePlayersTest = test::FilePlayersFixture;

TEST_F(GStreamerFilePlayersTest, PlaysEveryFormatAtTheLevelOfItsTone) {
  ASSERT_FALSE(tone("tone", "2.5").empty());
  const std::pair<const char*, const char*> formats[] = {{"t16.wav", "cp tone.wav"},
                                                         {"t24.wav", "sox tone.wav -b 24"},
                                                         {"t8.wav", "sox tone.wav -b 8"},
                                                         {"t.mp3", "lame --quiet tone.wav"},
                                                         {"bare.mp3", "lame --quiet -t -V 4 tone.wav"},
                                                         {"t.flac", "flac -s tone.wav -o"},
                                                         {"t.ogg", "oggenc -Q tone.wav -o"},
                                                         {"t.m4a", "ffmpeg -loglevel error -i tone.wav"},
                                                         {"t.aac", "ffmpeg -loglevel error -i tone.wav"}};
  std::map<std::string, std::unique_ptr<FilePlayer>> players;
  for (const auto& [name, command] : formats) {
    const std::string path = make(name, command + std::string(" ") + name);
    const auto& player = players[name] = open(path);
    ASSERT_NE(player, nullptr) << name;
    // It reads the file that it has opened, whatever becomes of its name.
    std::filesystem::remove(path);
    EXPECT_EQ(player->numberOfChannels(), 2U) << name;
    // Without an encoder's header the padding of the first and last frame counts as sound.
    EXPECT_NEAR(player->duration(), 2.5, path.ends_with("bare.mp3") ? 0.08 : 0.05) << name;
  }
  std::map<std::string, Instant> started;
  for (const auto& [name, player] : players) {
    player->setMeteringEnabled(true);
    start(*player);
    started[name] = Clock::current().now();
  }
  loop_.runFor(300ms);
  for (const auto& [name, player] : players) {
    player->updateMeters();
    const std::chrono::duration<double> since = Clock::current().now() - started[name];
    EXPECT_NEAR(player->currentTime(), since.count(), 0.15) << name;
    EXPECT_NEAR(player->averagePowerForChannel(0), kLeft, 0.7) << name;
    EXPECT_NEAR(player->averagePowerForChannel(1), kRight, 0.7) << name;
    player->setCurrentTime(2.2);
    EXPECT_NEAR(player->currentTime(), 2.2, 0.05) << name;
    EXPECT_TRUE(player->playing()) << name;
  }
  loop_.runFor(5s);
  for (const auto& [name, player] : players) {
    EXPECT_EQ(ends_[player.get()], End::Whole) << name;
    EXPECT_FALSE(player->playing()) << name;
  }
}

TEST_F(GStreamerFilePlayersTest, TellsWhyAFileCannotBeOpened) {
  make("",
       "head -c 100000 /dev/urandom > garbage.mp3; : > empty.wav; yes text | head -1000 > text.txt; "
       "mkfifo fifo.wav; sox -n tone.wav synth 1 sine 500; head -c 44 tone.wav > header.wav; "
       "ffmpeg -loglevel error -i tone.wav tone.m4a; head -c 5000 tone.m4a > headless.m4a; "
       "ffmpeg -loglevel error -f lavfi -i testsrc=duration=0.2 -c:v mjpeg film.avi");
  const std::pair<const char*, std::string> files[] = {{"garbage.mp3", "no audio in it"},
                                                       {"empty.wav", "is empty"},
                                                       {"text.txt", "no audio in it"},
                                                       {"fifo.wav", "is no regular file"},
                                                       {"header.wav", "no audio in it"},
                                                       {"headless.m4a", ""},
                                                       {"film.avi", "no audio track"},
                                                       {"missing.wav", Error::ofSystem(ENOENT).description()},
                                                       {"", Error::ofSystem(EISDIR).description()}};
  for (const auto& [name, reason] : files) {
    const auto player = factory_.openFile(folder_.at(name));
    ASSERT_FALSE(player) << name;
    // For want of data GStreamer gives up at once or after a while: any reason will do.
    EXPECT_THAT(player.error().description(), testing::HasSubstr(reason)) << name;
  }
  for (const char* url :
       {"", "tone.wav", "http://127.0.0.1:9/tone.wav", "file://elsewhere/tone.wav", "file://"}) {
    const auto player = factory_.openUrl(url);
    ASSERT_FALSE(player) << url;
    EXPECT_EQ(player.error().code, GStreamerFilePlayers::NotAFile) << url;
  }
}

TEST_F(GStreamerFilePlayersTest, EndsAShortTrackInRealTimeOnceAndStartsOverAtZero) {
  const auto player = openTone("0.5");
  for (const int reports : {1, 2}) {
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(runToEnd(*player), End::Whole);
    EXPECT_GT(std::chrono::steady_clock::now() - start, 400ms);
    EXPECT_EQ(player->currentTime(), 0);
    loop_.runFor(50ms);
    EXPECT_EQ(reports_, reports);
  }
}

TEST_F(GStreamerFilePlayersTest, SaysThatATrackWasCutOffAndEndsADamagedOne) {
  make("",
       "sox -n -R -b 16 -c 2 long.wav synth 1.5 sine 1000 gain -20 && flac -s long.wav -o whole.flac && "
       "ffmpeg -loglevel error -i long.wav -movflags faststart whole.m4a && cp whole.flac damaged && "
       "for type in flac m4a; do head -c $(($(stat -c %s whole.$type) / 3)) whole.$type > cut.$type; done && "
       "dd status=none if=/dev/urandom of=damaged bs=1000 seek=9 count=10 conv=notrunc");
  std::map<std::string, std::unique_ptr<FilePlayer>> players;
  for (const char* name : {"cut.flac", "cut.m4a", "damaged"}) {
    players[name] = open(folder_.at(name));
    ASSERT_NE(players[name], nullptr) << name;
    start(*players[name]);
  }
  loop_.runFor(5s);
  EXPECT_EQ(reports_, 3);
  for (const char* name : {"cut.flac", "cut.m4a"}) EXPECT_NE(ends_[players[name].get()], End::Whole) << name;
}

TEST_F(GStreamerFilePlayersTest, StopsAtAPauseKeepsThePositionAndGoesOn) {
  const auto player = openTone("5");
  playFor(*player, 300ms);
  player->pause();
  EXPECT_FALSE(player->playing());
  const double paused = player->currentTime();
  EXPECT_NEAR(paused, 0.3, 0.15);
  loop_.runFor(200ms);
  EXPECT_NEAR(player->currentTime(), paused, 0.03);

  player->stop();
  EXPECT_NEAR(player->currentTime(), paused, 0.03);
  EXPECT_EQ(player->duration(), 5);
  playFor(*player, 200ms);
  EXPECT_NEAR(player->currentTime(), paused + 0.2, 0.1);
}

TEST_F(GStreamerFilePlayersTest, ClampsSeeksToTheTrackInEveryState) {
  const auto player = openTone("5");
  const struct {
    double target, reached;
  } cases[] = {{2.5, 2.5}, {-3, 0}, {99, 5}, {1.25, 1.25}, {std::numeric_limits<double>::infinity(), 5},
               {0, 0}};
  for (const bool stopped : {false, true}) {
    if (stopped) player->stop();
    for (const auto& [target, reached] : cases) {
      player->setCurrentTime(target);
      loop_.runFor(30ms);
      EXPECT_NEAR(player->currentTime(), reached, 0.02) << target << stopped;
    }
  }
  player->setCurrentTime(4.6);
  player->setCurrentTime(std::nan(""));
  EXPECT_EQ(runToEnd(*player, 2s), End::Whole);
}

TEST_F(GStreamerFilePlayersTest, SeekAwayFromAnEndThatWasNotYetReportedTakesItBack) {
  const auto player = openTone("0.4");
  start(*player);
  // The main loop stands still while the track ends.
  const auto until = std::chrono::steady_clock::now() + 700ms;
  while (std::chrono::steady_clock::now() < until) player->updateMeters();
  player->setCurrentTime(0);
  loop_.runFor(150ms);
  EXPECT_EQ(reports_, 0);
  loop_.runFor(2s);
  EXPECT_EQ(reports_, 1);
  EXPECT_EQ(ends_[player.get()], End::Whole);
}

TEST_F(GStreamerFilePlayersTest, MetersTellWhatIsHeardAtTheMoment) {
  const auto player = open(make("steps.wav",
                                "sox -n -r 44100 -b 16 -c 1 loud.wav synth 1 sine 1000 gain -6 && "
                                "sox -n -r 44100 -b 16 -c 1 soft.wav synth 1 sine 1000 gain -40 && "
                                "sox loud.wav soft.wav steps.wav"));
  ASSERT_NE(player, nullptr);
  playFor(*player, 200ms);
  player->updateMeters();
  EXPECT_EQ(player->averagePowerForChannel(0), -160) << "metering is off at first";
  player->setMeteringEnabled(true);
  player->setVolume(0.1F);
  player->updateMeters();
  EXPECT_NEAR(player->averagePowerForChannel(0), -9.01, 0.5);
  EXPECT_EQ(player->averagePowerForChannel(1), -160) << "no such channel";
  loop_.runFor(500ms);
  player->updateMeters();
  EXPECT_NEAR(player->averagePowerForChannel(0), -9.01, 0.5) << "the soft part is decoded, but not yet heard";
  loop_.runFor(500ms);
  player->updateMeters();
  EXPECT_NEAR(player->averagePowerForChannel(0), -43.01, 0.5);
  player->pause();
  player->updateMeters();
  EXPECT_EQ(player->averagePowerForChannel(0), -160);
}

TEST_F(GStreamerFilePlayersTest, TakesAddressesWithEscapedCharactersAndKeepsVolumeBetweenZeroAndOne) {
  const std::string made = make("a b#c.wav", "sox -n 'a b#c.wav' synth 0.5 sine 500");
  EXPECT_NE(open("file://" + folder_.at("a%20b%23c.wav")), nullptr);
  const auto player = open(made);
  ASSERT_NE(player, nullptr);
  EXPECT_EQ(player->volume(), 1);
  for (const auto& [set, kept] :
       {std::pair(0.25F, 0.25F), {-1.F, 0.F}, {7.F, 1.F}, {0.5F, 0.5F}, {NAN, 0.5F}}) {
    player->setVolume(set);
    EXPECT_EQ(player->volume(), kept);
  }
}

TEST_F(GStreamerFilePlayersTest, ReportsToTheLastObserverOnlyAndNeverAfterDestruction) {
  auto player = openTone("0.3");
  auto other = open(folder_.at("tone.wav"));
  int first = 0;
  FilePlayerObserver observer;
  observer.audioPlayerDidFinishPlaying_successfully = [&](FilePlayer&, bool) { ++first; };
  for (auto* each : {player.get(), other.get()}) {
    each->setObserver(observer);
    each->play();
  }
  loop_.runFor(100ms);
  EXPECT_TRUE(player->playing() && other->playing()) << "two tracks at once";
  other.reset();
  EXPECT_EQ(runToEnd(*player), End::Whole);
  loop_.runFor(300ms);
  EXPECT_EQ(first, 0);
  EXPECT_EQ(reports_, 1);
  observer.audioPlayerDidFinishPlaying_successfully = [&](FilePlayer&, bool) {
    player.reset();  // from inside its own report
    loop_.stop();
  };
  player->setObserver(observer);
  playFor(*player, 3s);
  EXPECT_EQ(player, nullptr);
}

TEST_F(GStreamerFilePlayersTest, PausedTracksWakeNobody) {
  const auto player = openTone("5");
  player->setMeteringEnabled(true);
  playFor(*player, 300ms);
  player->pause();
  loop_.runFor(100ms);
  rusage before{};
  rusage after{};
  const auto wakeUps = loop_.wakeUps();
  ::getrusage(RUSAGE_SELF, &before);
  loop_.runFor(2s);
  ::getrusage(RUSAGE_SELF, &after);
  EXPECT_LE(loop_.wakeUps() - wakeUps, 1U);
  // The thread checker has a thread of its own that wakes ten times a second.
  const long checker = tests::kThreadSanitized ? 20 + 10 : 0;
  EXPECT_LE(after.ru_nvcsw - before.ru_nvcsw, 3 + checker)
      << "threads of the whole process that woke and slept again";
}

long entriesOf(const char* folder) {
  return std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator());
}

TEST_F(GStreamerFilePlayersTest, ChangesOfTracksKeepNoThreadAndNoDescriptor) {
  const std::string paths[] = {tone("a", "1"), make("a.mp3", "lame --quiet a.wav a.mp3"),
                               make("a.ogg", "oggenc -Q a.wav")};
  long descriptors = 0, threads = 0;
  for (std::size_t change = 0; change < 60; ++change) {
    if (change == 30) descriptors = entriesOf("/proc/self/fd"), threads = entriesOf("/proc/self/task");
    const auto player = open(paths[change % 3]);
    ASSERT_NE(player, nullptr) << paths[change % 3];
    playFor(*player, 5ms);
  }
  EXPECT_LE(entriesOf("/proc/self/fd"), descriptors + 2);
  EXPECT_LE(entriesOf("/proc/self/task"), threads + 2);
}

TEST_F(GStreamerFilePlayersTest, IsPartOfTheLinuxHostAndSaysOnceThatThereIsNoSound) {
  backends::installLinuxHost("players-test");
  EXPECT_EQ(Host::current().applicationName, "players-test");
  ASSERT_NE(Host::current().filePlayers, nullptr);
  for (int times = 0; times < 2; ++times)
    EXPECT_NE(Host::current().filePlayers->openUrl(tone("short", "0.3")), nullptr);
  const auto said = everyLine.take();
  EXPECT_EQ(std::ranges::count(said, "No sound device: audio plays without sound."), 1);
}

}  // namespace
}  // namespace vantrel
