#include "platform/atomic_file.h"

#include <gtest/gtest.h>

#include "support/test_environment.h"
#include "support/test_files.h"

namespace drive {
namespace {

using AtomicFileTest = test_support::DriveTest;

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

// Larger than one write piece and one read buffer, and not a multiple of either.
TEST_F(AtomicFileTest, LargeContentsRoundTripAndADirectoryReadsAsNothing) {
  std::string bytes(1024 * 1024 + 12345, '\0');
  for (std::size_t i = 0; i < bytes.size(); ++i)
    bytes[i] = static_cast<char>(i * 7919 % 251);
  const auto target = root() / "large.bin";
  ASSERT_TRUE(fp::writeFileAtomically(target, bytes, 0600));
  EXPECT_EQ(fp::readWholeFile(target), bytes);
  EXPECT_EQ(std::filesystem::status(target).permissions() & std::filesystem::perms::all,
            std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
  EXPECT_EQ(fp::readWholeFile(root()), std::nullopt);

  ASSERT_TRUE(fp::writeFileAtomically(target, "cached", 0600, fp::Durability::cached));
  EXPECT_EQ(fp::readWholeFile(target), "cached");
  for (const auto& entry : std::filesystem::directory_iterator(root()))
    EXPECT_FALSE(entry.path().filename().string().starts_with(".large.bin"));
}

}  // namespace
}  // namespace drive
