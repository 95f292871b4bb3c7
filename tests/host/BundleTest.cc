#include "vantrel/host/Bundle.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>

namespace vantrel {
namespace {

namespace fs = std::filesystem;

class BundleTest : public testing::Test {
 protected:
  BundleTest() {
    std::string name = (fs::temp_directory_path() / "bundle.XXXXXX").string();
    folder_ = mkdtemp(name.data());
  }
  ~BundleTest() override { fs::remove_all(folder_); }

  fs::path folder_;
};

TEST_F(BundleTest, LiesBesideTheExecutableOrInTheSharedFolder) {
  const fs::path executable = folder_ / "bin" / "player";
  EXPECT_EQ(Bundle::ofExecutable(executable, "app").resourcePath(), folder_ / "share" / "app");
  fs::create_directories(folder_ / "bin" / "Resources");
  EXPECT_EQ(Bundle::ofExecutable(executable, "app").resourcePath(), folder_ / "bin" / "Resources");
}

TEST_F(BundleTest, FindsResourcesByNameAndNothingOutside) {
  fs::create_directories(folder_ / "resources" / "en.lproj");
  std::ofstream(folder_ / "resources" / "a.png") << "a";
  std::ofstream(folder_ / "resources" / "en.lproj" / "text") << "b";
  std::ofstream(folder_ / "secret") << "c";
  const Bundle bundle(folder_ / "resources");
  EXPECT_EQ(bundle.pathForResource("a.png"), folder_ / "resources" / "a.png");
  EXPECT_EQ(bundle.pathForResource("en.lproj/text"), folder_ / "resources" / "en.lproj" / "text");
  EXPECT_TRUE(bundle.pathForResource("en.lproj")) << "a folder is a resource, too";
  for (const std::string& name :
       {std::string("b.png"), std::string(), std::string("../secret"), std::string("en.lproj/../../secret"),
        (folder_ / "secret").string(), std::string("a.png\0b", 7)}) {
    EXPECT_FALSE(bundle.pathForResource(name)) << name;
  }
}

}  // namespace
}  // namespace vantrel
