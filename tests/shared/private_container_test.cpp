#include <gtest/gtest.h>
#include <sys/stat.h>

#include "session/session_store.h"
#include "shared/app_group_container.h"
#include "shared/disk_state.h"
#include "shared/sync_activity.h"
#include "shared/trace_log.h"
#include "test_environment.h"

namespace drive {
namespace {

mode_t modeOf(const std::filesystem::path& path) {
  struct stat info {};
  EXPECT_EQ(::stat(path.c_str(), &info), 0) << path;
  return info.st_mode & 07777;
}

class PrivateContainerTest : public testing::DriveTest {};

TEST_F(PrivateContainerTest, FoldersTheProviderCreatesAreClosedToOthers) {
  const auto shared = root() / "shared";
  std::filesystem::create_directory(shared);
  ::chmod(shared.c_str(), 0755);
  const auto container = shared / "groups" / "group.eu.vantrel.drive";
  configure([&](fp::Environment& environment) { environment.appGroupContainer = container; });

  trace("first");
  DriveDiskState::current();
  DriveSyncActivity::begin("n1", "a.txt", DriveSyncActivity::Direction::download);
  appGroupDefaults().setObject(nlohmann::json("v"), "key");
  ASSERT_TRUE(writeSessionFile("{}"));

  EXPECT_EQ(modeOf(shared), 0755u);
  EXPECT_EQ(modeOf(shared / "groups"), 0700u);
  EXPECT_EQ(modeOf(container), 0700u);
  EXPECT_EQ(modeOf(container / "Library" / "Preferences"), 0700u);
  EXPECT_EQ(modeOf(container / "session.json"), 0600u);
  EXPECT_EQ(modeOf(container / "drive-local-state.lock"), 0644u);
}

}  // namespace
}  // namespace drive
