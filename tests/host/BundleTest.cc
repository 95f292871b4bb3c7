#include "vantrel/host/Bundle.h"

#include <gtest/gtest.h>

#include "tests/support/ScratchFolder.h"

namespace vantrel {
namespace {

namespace fs = std::filesystem;

TEST(Bundle, LiesBesideTheExecutableOrInTheSharedFolderAndGivesNothingOutside) {
  const tests::ScratchFolder scratch;
  const fs::path folder = scratch.path();
  const fs::path executable = folder / "bin" / "player";
  EXPECT_EQ(Bundle::ofExecutable(executable, "app").resourcePath(), folder / "share" / "app");
  fs::create_directories(folder / "bin" / "Resources" / "en.lproj");
  const Bundle bundle = Bundle::ofExecutable(executable, "app");
  EXPECT_EQ(bundle.resourcePath(), folder / "bin" / "Resources");
  scratch.put("bin/secret", "");
  EXPECT_EQ(bundle.pathForResource("en.lproj"), folder / "bin" / "Resources" / "en.lproj");
  EXPECT_FALSE(bundle.pathForResource("en.lproj/../../secret"));
}

}  // namespace
}  // namespace vantrel
