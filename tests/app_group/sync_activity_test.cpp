#include "app_group/sync_activity.h"

#include <gtest/gtest.h>

#include <thread>

#include "app_group/shared_file.h"
#include "support/test_environment.h"
#include "support/test_files.h"

namespace drive {
namespace DriveSyncActivity {

void PrintTo(const Item& item, std::ostream* out) {
  *out << nlohmann::json(item).dump();
}

}  // namespace DriveSyncActivity

namespace {

using DriveSyncActivity::Direction;
using DriveSyncActivity::Item;
using std::chrono::seconds;

constexpr const char* kFile = "drive-sync-activity.json";

DriveSyncActivity::File activity() {
  return readSharedFile<DriveSyncActivity::File>(kFile).value_or(DriveSyncActivity::File{});
}

std::vector<std::string> ids(const std::vector<Item>& items) {
  std::vector<std::string> result;
  for (const auto& item : items)
    result.push_back(item.id + "/" + item.direction);
  return result;
}

class SyncActivityTest : public test_support::DriveTest {
 protected:
  double now() { return std::chrono::duration<double>(clock().now().time_since_epoch()).count(); }
};

TEST_F(SyncActivityTest, BeginKeepsOneActiveEntryPerNodeAndDirection) {
  DriveSyncActivity::begin("a", "A.txt", Direction::download);
  EXPECT_EQ(activity().active,
            (std::vector<Item>{{"a", "node:a", "A.txt", "download", true, now()}}));
  EXPECT_TRUE(activity().recent.empty());

  clock().advance(seconds(5));
  DriveSyncActivity::begin("a", "A.txt", Direction::download);
  DriveSyncActivity::begin("a", "A.txt", Direction::upload);
  EXPECT_EQ(ids(activity().active), (std::vector<std::string>{"a/upload", "a/download"}));
  EXPECT_EQ(activity().active[1].at, now());
}

TEST_F(SyncActivityTest, EndLeavesTheNewestRecentEntryPerNode) {
  DriveSyncActivity::begin("a", "A", Direction::upload);
  DriveSyncActivity::end("b", "B", Direction::download, true);
  DriveSyncActivity::end("a", "A", Direction::upload, false);
  EXPECT_TRUE(activity().active.empty());
  EXPECT_EQ(ids(activity().recent), (std::vector<std::string>{"a/upload", "b/download"}));
  EXPECT_FALSE(activity().recent[0].ok);

  DriveSyncActivity::end("b", "B", Direction::upload, true);
  EXPECT_EQ(ids(activity().recent), (std::vector<std::string>{"b/upload", "a/upload"}));
}

TEST_F(SyncActivityTest, ListsKeepTheNewestFifty) {
  for (int index = 0; index <= 50; ++index) {
    DriveSyncActivity::begin("n" + std::to_string(index), "N", Direction::download);
    DriveSyncActivity::end("r" + std::to_string(index), "R", Direction::download, true);
  }
  const auto file = activity();
  ASSERT_EQ(file.active.size(), 50u);
  ASSERT_EQ(file.recent.size(), 50u);
  EXPECT_EQ(file.active.front().id, "n50");
  EXPECT_EQ(file.active.back().id, "n1");
  EXPECT_EQ(file.recent.back().id, "r1");
}

TEST_F(SyncActivityTest, ActiveEntriesFailAfterHalfAnHour) {
  DriveSyncActivity::begin("old", "Old", Direction::download);
  DriveSyncActivity::begin("kept", "Kept", Direction::download);
  DriveSyncActivity::begin("kept", "Kept", Direction::upload);
  clock().advance(seconds(10));
  DriveSyncActivity::end("kept", "Kept", Direction::upload, true);

  clock().advance(seconds(1789));
  DriveSyncActivity::begin("new", "New", Direction::upload);
  EXPECT_EQ(activity().active.size(), 3u);

  clock().advance(seconds(1));
  DriveSyncActivity::end("new", "New", Direction::upload, true);
  const auto file = activity();
  EXPECT_TRUE(file.active.empty());
  // "kept" already has a newer recent entry, so its stale download is dropped.
  EXPECT_EQ(ids(file.recent),
            (std::vector<std::string>{"old/download", "new/upload", "kept/upload"}));
  EXPECT_FALSE(file.recent[0].ok);
  EXPECT_TRUE(file.recent[2].ok);
}

TEST_F(SyncActivityTest, DamagedFileIsReplacedByAValidOne) {
  test_support::writeText(container() / kFile, R"({"active":[{"id":"x"}],"recent":[]})");
  DriveSyncActivity::begin("a", "A", Direction::download);
  EXPECT_EQ(ids(activity().active), std::vector<std::string>{"a/download"});
}

TEST_F(SyncActivityTest, ConcurrentTransfersLoseNoEntry) {
  constexpr int kThreads = 4;
  constexpr int kTransfersPerThread = 10;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([thread] {
      for (int index = 0; index < kTransfersPerThread; ++index) {
        const auto id = std::to_string(thread) + "." + std::to_string(index);
        DriveSyncActivity::begin(id, id, Direction::download);
        DriveSyncActivity::end(id, id, Direction::download, true);
      }
    });
  }
  for (auto& thread : threads)
    thread.join();
  EXPECT_TRUE(activity().active.empty());
  EXPECT_EQ(activity().recent.size(), std::size_t{kThreads * kTransfersPerThread});
}

}  // namespace
}  // namespace drive
