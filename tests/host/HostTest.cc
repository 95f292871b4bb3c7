#include "vantrel/host/Host.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "vantrel/loop/NotificationBus.h"
#include "vantrel/loop/RunLoop.h"

namespace vantrel {
namespace {

TEST(Host, InstallsWhatIsGivenWithDefaultsForTheRest) {
  const auto library = Host::current().musicLibrary;
  EXPECT_TRUE(library->songs().empty());
  Host host;
  host.applicationName = "other";
  host.musicLibrary = library;
  const auto earlier = Host::install(host);
  EXPECT_EQ(earlier->applicationName, "vantrel");
  EXPECT_EQ(Host::current().applicationName, "other");
  EXPECT_EQ(Host::current().musicLibrary, library);
  EXPECT_NE(Host::current().settings, earlier->settings);
  EXPECT_EQ(Host::current().bundle->resourcePath().filename(), "other");
  EXPECT_EQ(Host::install(*earlier)->applicationName, "other");
  EXPECT_EQ(Host::current().settings, earlier->settings);
}

TEST(Host, RemembersAVolumeAndTellsOfChangesFromTheMainLoop) {
  RunLoop& loop = RunLoop::main();
  const auto earlier = Host::install({});
  AudioSession& session = *Host::current().audioSession;
  std::vector<double> told;
  const auto subscription =
      NotificationBus::shared().add(kSystemVolumeDidChangeNotification, [&](const Notification& event) {
        ASSERT_TRUE(event.userInfo);
        told.push_back((*event.userInfo)[kAudioVolumeNotificationParameter].asDouble().value());
      });
  EXPECT_EQ(session.outputVolume(), 1);
  EXPECT_TRUE(session.setOutputVolume(0.25F));
  EXPECT_EQ(session.outputVolume(), 0.25F);
  EXPECT_TRUE(told.empty()) << "not from inside the call";
  EXPECT_TRUE(session.setOutputVolume(0.25F));
  EXPECT_TRUE(session.setOutputVolume(-3));
  EXPECT_EQ(session.outputVolume(), 0);
  EXPECT_TRUE(session.setOutputVolume(2));
  EXPECT_FALSE(session.setOutputVolume(std::numeric_limits<float>::quiet_NaN()));
  EXPECT_EQ(session.outputVolume(), 1);
  loop.turn();
  EXPECT_EQ(told, (std::vector<double>{0.25, 0, 1}));
  Host::install(*earlier);
}

}  // namespace
}  // namespace vantrel
