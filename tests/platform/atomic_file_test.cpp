#include "platform/atomic_file.h"

#include <gtest/gtest.h>

#include "test_environment.h"
#include "test_files.h"

namespace drive {
namespace {

using AtomicFileTest = testing::DriveTest;

TEST_F(AtomicFileTest, AFailedWriteLeavesTargetAndDirectoryAsTheyWere) {
  const auto directory = root() / "shared";
  // A directory in the target's place makes the final rename fail.
  std::filesystem::create_directories(directory / "target" / "inside");
  EXPECT_FALSE(fp::writeFileAtomically(directory / "target", "bytes"));
  EXPECT_TRUE(std::filesystem::is_directory(directory / "target" / "inside"));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory), {}), 1);

  EXPECT_FALSE(fp::writeFileAtomically(root() / "missing" / "target", "bytes"));
  EXPECT_EQ(fp::readWholeFile(root() / "missing" / "target"), std::nullopt);
}

}  // namespace
}  // namespace drive
