// pralodrive's commands around a mounted drive: mount, unmount, and paths for identifiers.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "mount/mount_fixture.h"
#include "mount/mount_lock.h"
#include "support/test_files.h"

namespace drive::mount::test_support {
namespace {

using ::testing::HasSubstr;
using MountCommands = MountTest;

TEST_F(MountCommands, CtrlCUnmountsAfterSavingTheQueue) {
  drive::test_support::writeText(drive("Alex Morgan/Documents/late.txt"), "written last\n");
  std::string output;
  EXPECT_EQ(interruptMount(&output), 0);
  EXPECT_THAT(output, HasSubstr("Unmounted"));
  EXPECT_EQ(mountCount(drive()), 0);
  mount();
  ASSERT_TRUE(syncWait());
  EXPECT_EQ(serviceContent("Alex Morgan/Documents/late.txt"), "written last\n");
}

TEST_F(MountCommands, InTheBackgroundUntilUnmountedByCommand) {
  std::string output;
  ASSERT_EQ(unmount(), 0);
  ASSERT_EQ(pralodrive({"mount", drive().string(), "--poll", "5", "--cache-limit", "1G"}, &output),
            0)
      << output;
  EXPECT_THAT(output, HasSubstr("Mounted the drive at"));
  EXPECT_TRUE(std::filesystem::exists(drive("Alex Morgan/Documents/Notes.md")));
  ASSERT_EQ(pralodrive({"unmount", drive().string()}, &output), 0) << output;
  EXPECT_EQ(mountCount(drive()), 0);
  EXPECT_EQ(pralodrive({"unmount", drive().string()}, &output), 1);
  EXPECT_THAT(output, HasSubstr("is not mounted"));
  EXPECT_EQ(pralodrive({"mount", drive().string(), "--cache-limit", "lots"}, &output), 2);
}

TEST_F(MountCommands, CommandsTakePathsWhereTheyTakeIdentifiersAndActionsShortNames) {
  const auto photos = drive("Alex Morgan/Photos").string();
  std::string output;
  ASSERT_EQ(pralodrive({"action", "offline", photos}, &output), 0) << output;
  ASSERT_EQ(pralodrive({"--json", "status", photos + "/Beach.jpg"}, &output), 0) << output;
  EXPECT_THAT(output, HasSubstr("\"state\":\"kept offline\""));
  EXPECT_THAT(output, HasSubstr("\"identifier\":\"node:" +
                                serviceId("Alex Morgan/Photos/Beach.jpg").value_or("?")));
  EXPECT_EQ(pralodrive({"action", "nonsense", photos}, &output), 1);
  EXPECT_EQ(pralodrive({"status", drive().string() + "/missing"}, &output), 1);
  EXPECT_THAT(output, HasSubstr("is not an item of a mounted drive"));
  ASSERT_EQ(pralodrive({"--json", "item", photos + "/Beach.jpg"}, &output), 0) << output;
  EXPECT_THAT(output, HasSubstr("\"filename\":\"Beach.jpg\""));
  ASSERT_EQ(pralodrive({"list", photos}, &output), 0) << output;
  EXPECT_THAT(output, HasSubstr("Beach.jpg"));
  drive::test_support::writeText(local("elsewhere.txt"), "x");
  EXPECT_EQ(pralodrive({"fetch", local("elsewhere.txt").string()}, &output), 2);
  EXPECT_THAT(output, HasSubstr("is not an item of a mounted drive"));
}

}  // namespace
}  // namespace drive::mount::test_support
