#include <gtest/gtest.h>

#include <functional>

#include "app_group/disk_state.h"
#include "app_group/listing_ack.h"
#include "app_group/remote_items.h"
#include "app_group/remote_refresh.h"
#include "app_group/sync_activity.h"
#include "platform/app_group_container.h"
#include "support/test_environment.h"
#include "support/test_files.h"

namespace drive {
namespace {

struct Writer {
  std::string file;  // relative to the container
  std::string before;
  std::function<void()> write;
};

std::vector<Writer> writers() {
  return {
      {"drive-local-state.json", R"({"materialized":[],"pinned":[],"revision":0})",
       [] { DriveDiskState::update([](auto& state) { return state.pinned.insert("a").second; }); }},
      {"drive-remote-refresh.json", R"({"generation":1,"pending":["a"]})",
       [] { DriveRemoteRefresh::clearPending("a"); }},
      {"drive-remote-items.json", R"({"updates":["a"],"deletes":[]})",
       [] { DriveRemoteItems::removePublished({"a"}); }},
      {"drive-listing-ack.json", R"({"revision":0,"token":"","containers":[]})",
       [] { DriveListingAck::acknowledge("root", 0, ""); }},
      {"drive-sync-activity.json", R"({"active":[],"recent":[]})",
       [] { DriveSyncActivity::begin("a", "A", DriveSyncActivity::Direction::upload); }},
      {"Library/Preferences/group.eu.vantrel.drive.json", "{}",
       [] { fp::appGroupDefaults().setObject(1, "k"); }},
  };
}

using AtomicReplacementTest = test_support::DriveTest;

// The old inode keeping its bytes shows that the target was never opened for writing: a crash
// before the rename leaves the previous file whole.
TEST_F(AtomicReplacementTest, SharedFilesAreReplacedNeverRewrittenInPlace) {
  for (const auto& writer : writers()) {
    const auto target = container() / writer.file;
    test_support::writeText(target, writer.before);
    test_support::ReplacementWatch watch(target);
    writer.write();
    EXPECT_TRUE(watch.replaced()) << writer.file;
    EXPECT_EQ(watch.original(), writer.before) << writer.file;
    EXPECT_NE(test_support::readText(target), writer.before) << writer.file;
    // Readable by a companion app, unlike a bare temporary file; the defaults may hold the
    // session, so they stay the user's own.
    const auto mode = writer.file.starts_with("Library/") ? 0600 : 0644;
    EXPECT_EQ(std::filesystem::status(target).permissions(), std::filesystem::perms(mode))
        << writer.file;
    for (const auto& entry : std::filesystem::directory_iterator(target.parent_path())) {
      EXPECT_NE(entry.path().filename().string().front(), '.') << "left behind: " << entry.path();
    }
  }
}

}  // namespace
}  // namespace drive
