#include "vantrel/base/io/StandardFolders.h"

#include <gtest/gtest.h>

#include "tests/support/ScratchFolder.h"

namespace vantrel {
namespace {

using namespace std::string_literals;

// The environment stays changed; no other test of this program looks at it.
TEST(StandardFolders, FollowTheEnvironment) {
  const struct {
    const char* variable;
    std::string (*folder)();
    std::string otherwise;
  } cases[] = {{"XDG_CONFIG_HOME", folders::config, "/h/.config"},
               {"XDG_CACHE_HOME", folders::cache, "/h/.cache"},
               {"XDG_DATA_HOME", folders::data, "/h/.local/share"}};
  setenv("HOME", "/h/", 1);
  for (const auto& c : cases) {
    unsetenv(c.variable);
    EXPECT_EQ(c.folder(), c.otherwise);
    for (const std::string& value : {"/a/b//"s, "relative"s, ""s}) {
      setenv(c.variable, value.c_str(), 1);
      EXPECT_EQ(c.folder(), value.starts_with('/') ? "/a/b" : c.otherwise) << c.variable << "=" << value;
    }
  }
  setenv("HOME", "/", 1);
  EXPECT_EQ(folders::cache(), "/.cache");
  setenv("HOME", "relative", 1);
  EXPECT_EQ(folders::home().front(), '/');
}

TEST(StandardFolders, ReadTheUsersOwnNames) {
  const tests::ScratchFolder config;
  setenv("XDG_CONFIG_HOME", config.path().c_str(), 1);
  setenv("HOME", "/h", 1);
  const std::pair<const char*, const char*> kLines[] = {
      {"", "/h/Music"},
      {"XDG_MUSIC_DIR=\"/srv/music/\"", "/srv/music"},
      {"  XDG_MUSIC_DIR=\"$HOME/My \\\"songs\\\"\"\n", "/h/My \"songs\""},
      {"XDG_MUSIC_DIR=\"$HOME\"", "/h"},
      {"XDG_MUSIC_DIR=\"/first\"\nXDG_MUSIC_DIR=\"/last\"", "/last"},
      {"# XDG_MUSIC_DIR=\"/comment\"", "/h/Music"},
      {"XDG_MUSIC_DIR=\"relative\"", "/h/Music"},
      {"XDG_MUSIC_DIR=\"/open", "/h/Music"},
      {"XDG_MUSIC_DIR=\"$HOMELESS\"", "/h/Music"}};
  for (const auto& [line, folder] : kLines) {
    config.put("user-dirs.dirs", line);
    EXPECT_EQ(folders::user("MUSIC", "Music"), folder) << line;
  }
}

}  // namespace
}  // namespace vantrel
