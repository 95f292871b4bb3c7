#include <gst/gst.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>

#include "tests/backends/FilePlayersFixture.h"

namespace vantrel {
namespace {

using namespace std::chrono_literals;

/// A sound device that fails when it is told to: GStreamer's silent sink under another name.
struct Device {
  enum Failure { None, Opening, Preparing, Starting, InTheMiddle };
  static inline std::atomic<Failure> failure = None;
  static inline std::atomic<int> heard = 0;

  static void install() {
    gst_init(nullptr, nullptr);
    GstElement* silent = gst_element_factory_make("fakesink", nullptr);
    GTypeQuery like;
    g_type_query(G_OBJECT_TYPE(silent), &like);
    gst_object_unref(silent);
    const GType type =
        g_type_register_static_simple(like.type, "TestDevice", static_cast<guint>(like.class_size), nullptr,
                                      static_cast<guint>(like.instance_size), make, GTypeFlags(0));
    gst_element_register(nullptr, "testdevice", GST_RANK_NONE, type);
    ::setenv("VANTREL_AUDIO_SINK", "testdevice", 1);
  }

  static void make(GTypeInstance* self, gpointer) {
    const Failure now = failure == InTheMiddle ? None : failure.load();
    g_object_set(self, "sync", TRUE, "signal-handoffs", TRUE, "state-error", now, nullptr);
    g_signal_connect(self, "handoff", G_CALLBACK(take), nullptr);
  }

  static void take(GstElement* self) {
    if (++heard > 1 && failure == InTheMiddle) GST_ELEMENT_ERROR(self, RESOURCE, WRITE, (nullptr), ("gone"));
  }
};

using SoundDeviceTest = test::FilePlayersFixture;

TEST_F(SoundDeviceTest, TracksPlayOnWhileItFailsAndSoundAgainWhenItIsBack) {
  Device::install();
  const std::string path = tone("tone", "0.2");
  for (const auto failure : {Device::Opening, Device::Preparing, Device::Starting, Device::InTheMiddle}) {
    for (const auto now : {failure, failure, Device::None}) {
      Device::failure = now;
      Device::heard = 0;
      EXPECT_EQ(runToEnd(*open(path)), test::End::Whole) << failure << now;
      EXPECT_EQ(Device::heard >= 4, now == Device::None) << failure << now;
    }
  }
}

TEST_F(SoundDeviceTest, ThreadsOfATrackLeaveSignalsToTheProgram) {
  const auto player = openTone("2");
  playFor(*player, 100ms);
  int threads = 0;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    if (task.path().filename() == std::to_string(::getpid())) continue;
    const std::string status = tests::contentsOf(task.path() / "status");
    const auto mask = std::stoull(status.substr(status.find("SigBlk:") + 7), nullptr, 16);
    EXPECT_TRUE(mask >> (SIGTERM - 1) & 1) << status;
    ++threads;
  }
  EXPECT_GT(threads, 0);
}

}  // namespace
}  // namespace vantrel
