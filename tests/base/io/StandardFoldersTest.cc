#include "vantrel/base/io/StandardFolders.h"

#include <gtest/gtest.h>

#include "tests/support/ScratchFolder.h"

namespace vantrel {
namespace {

using tests::ScratchFolder;

// Each test of this program runs in a process of its own, so the environment may stay changed.
class StandardFoldersTest : public testing::Test {
 protected:
  StandardFoldersTest() {
    for (const char* name : {"XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_DATA_HOME"}) unsetenv(name);
    setenv("HOME", home_.path().c_str(), 1);
  }

  ScratchFolder home_;
};

TEST_F(StandardFoldersTest, FollowTheEnvironment) {
  const struct {
    const char* variable;
    std::string (*folder)();
    std::string otherwise;
  } cases[] = {{"XDG_CONFIG_HOME", folders::config, home_.at(".config")},
               {"XDG_CACHE_HOME", folders::cache, home_.at(".cache")},
               {"XDG_DATA_HOME", folders::data, home_.at(".local/share")}};
  for (const auto& c : cases) {
    EXPECT_EQ(c.folder(), c.otherwise);
    for (const auto& [value, expected] : {std::pair("/a/b//", std::string("/a/b")),
                                          {"/", "/"},
                                          {"relative", c.otherwise},
                                          {"", c.otherwise}}) {
      setenv(c.variable, value, 1);
      EXPECT_EQ(c.folder(), expected) << c.variable << "=" << value;
    }
  }
  setenv("HOME", "/", 1);
  EXPECT_EQ(folders::cache(), "/.cache");
  for (const char* unusable : {"", "relative"}) {
    setenv("HOME", unusable, 1);
    EXPECT_EQ(folders::home().front(), '/');
  }
}

TEST_F(StandardFoldersTest, ReadTheUsersOwnNames) {
  setenv("XDG_CONFIG_HOME", home_.path().c_str(), 1);
  EXPECT_EQ(folders::user("MUSIC", "Music"), home_.at("Music"));
  const std::pair<std::string, std::string> kLines[] = {
      {"XDG_MUSIC_DIR=\"/srv/music/\"", "/srv/music"},
      {"  XDG_MUSIC_DIR=\"$HOME/My \\\"songs\\\"\"\n", home_.at("My \"songs\"")},
      {"XDG_MUSIC_DIR=\"$HOME\"", home_.path()},
      {"XDG_MUSIC_DIR=\"/first\"\nXDG_MUSIC_DIR=\"/last\"", "/last"},
      {"# XDG_MUSIC_DIR=\"/comment\"", home_.at("Music")},
      {"XDG_MUSIC_DIR=\"relative\"", home_.at("Music")},
      {"XDG_MUSIC_DIR=\"/open", home_.at("Music")},
      {"XDG_MUSIC_DIR=/bare", home_.at("Music")},
      {"XDG_MUSIC_DIR=\"$HOMELESS\"", home_.at("Music")},
  };
  for (const auto& [line, folder] : kLines) {
    home_.put("user-dirs.dirs", line);
    EXPECT_EQ(folders::user("MUSIC", "Music"), folder) << line;
  }
}

}  // namespace
}  // namespace vantrel
