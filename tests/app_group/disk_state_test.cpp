#include "app_group/disk_state.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <fstream>
#include <thread>

#include "platform/file_lock.h"
#include "platform/user_defaults.h"
#include "support/child_process.h"
#include "support/test_environment.h"
#include "support/test_files.h"

namespace drive {
namespace DriveDiskState {

void PrintTo(const FileState& state, std::ostream* out) {
  *out << nlohmann::json(state).dump();
}

}  // namespace DriveDiskState

namespace {

using DriveDiskState::FileState;
using test_support::readText;
using test_support::writeText;

DriveDiskState::Mutation pin(const std::string& id) {
  return [id](FileState& state) { return state.pinned.insert(id).second; };
}

class DiskStateTest : public test_support::DriveTest {
 protected:
  std::filesystem::path stateFile() { return container() / "drive-local-state.json"; }
  std::filesystem::path lockFile() { return container() / "drive-local-state.lock"; }
  fp::UserDefaults legacySuite() { return *fp::UserDefaults::suite("group.eu.vantrel.drive"); }
};

TEST_F(DiskStateTest, FirstReadCreatesTheFileFromTheLegacyKeysOrDefaults) {
  EXPECT_EQ(DriveDiskState::current(), FileState{});
  EXPECT_EQ(readText(stateFile()), R"({"materialized":[],"pinned":[],"revision":0})");

  std::filesystem::remove(stateFile());
  legacySuite().setObject(7.9, "drive.itemRevision");
  legacySuite().setObject({"b", "a", "b"}, "drive.keepOfflineNodeIds");
  legacySuite().setObject({1, 2}, "drive.materializedNodeIds");
  fp::UserDefaults::standard().setObject({"m2", "m1"}, "drive.materializedNodeIds");
  const auto suiteBefore = readText(legacySuite().file());

  EXPECT_EQ(DriveDiskState::current(), (FileState{7, {"a", "b"}, {"m1", "m2"}}));
  EXPECT_EQ(readText(stateFile()),
            R"({"materialized":["m1","m2"],"pinned":["a","b"],"revision":7})");
  EXPECT_EQ(readText(legacySuite().file()), suiteBefore);
}

TEST_F(DiskStateTest, MalformedFileReadsAsDefaultsAndIsOnlyReplacedByAChange) {
  legacySuite().setObject(3, "drive.itemRevision");
  for (const char* malformed : {R"({"revision":3,"pinned":["a"]})",
                                R"({"revision":"3","pinned":[],"materialized":[]})", "[1"}) {
    writeText(stateFile(), malformed);
    EXPECT_EQ(DriveDiskState::current(), FileState{}) << malformed;
    DriveDiskState::update([](FileState&) { return false; });
    EXPECT_EQ(readText(stateFile()), malformed);
  }
  DriveDiskState::update(pin("n"));
  EXPECT_EQ(readText(stateFile()), R"({"materialized":[],"pinned":["n"],"revision":0})");
}

TEST_F(DiskStateTest, CacheIsReReadOnlyWhenTheFileStampChanges) {
  EXPECT_EQ(DriveDiskState::fileStamp(), "missing");
  writeText(stateFile(), R"({"materialized":[],"pinned":["a"],"revision":1})");
  struct stat info {};
  ASSERT_EQ(::stat(stateFile().c_str(), &info), 0);
  EXPECT_EQ(DriveDiskState::fileStamp(), std::to_string(info.st_mtim.tv_sec) + "." +
                                             std::to_string(info.st_mtim.tv_nsec) + "." +
                                             std::to_string(info.st_size));
  EXPECT_EQ(DriveDiskState::current().pinned, std::set<std::string>{"a"});

  // Same size and modification time: indistinguishable, so the cache answers.
  writeText(stateFile(), R"({"materialized":[],"pinned":["b"],"revision":1})");
  const timespec times[2] = {info.st_atim, info.st_mtim};
  ASSERT_EQ(::utimensat(AT_FDCWD, stateFile().c_str(), times, 0), 0);
  EXPECT_EQ(DriveDiskState::current().pinned, std::set<std::string>{"a"});

  writeText(stateFile(), R"({"materialized":[],"pinned":["cc"],"revision":1})");
  EXPECT_EQ(DriveDiskState::current().pinned, std::set<std::string>{"cc"});
}

TEST_F(DiskStateTest, UpdateSavesReportedChangesOnlyAndKeepsTheRevision) {
  writeText(stateFile(), R"({"materialized":["m"],"pinned":["z"],"revision":5})");
  DriveDiskState::update(pin("a"));
  EXPECT_EQ(readText(stateFile()), R"({"materialized":["m"],"pinned":["a","z"],"revision":5})");
  EXPECT_EQ(DriveDiskState::current(), (FileState{5, {"a", "z"}, {"m"}}));

  test_support::ReplacementWatch watch(stateFile());
  DriveDiskState::update(pin("a"));
  EXPECT_FALSE(watch.replaced());
}

TEST_F(DiskStateTest, FailedSaveLeavesTheCacheAsOnDisk) {
  // A directory in the file's place can be neither read nor replaced.
  std::filesystem::create_directories(stateFile() / "blocker");
  DriveDiskState::update(pin("a"));
  EXPECT_EQ(DriveDiskState::current(), FileState{});
}

// Whether some process is queued for the flock on `path` (Linux lists waiters with "->").
bool someoneWaitsFor(const std::filesystem::path& path) {
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0) return false;
  const auto inode = ":" + std::to_string(info.st_ino) + " ";
  std::ifstream locks("/proc/locks");
  std::string line;
  while (std::getline(locks, line)) {
    if (line.find("->") != std::string::npos && line.find(inode) != std::string::npos) return true;
  }
  return false;
}

TEST_F(DiskStateTest, UpdateWaitsWhileAnotherProcessHoldsTheLock) {
  if (!std::filesystem::exists("/proc/locks")) GTEST_SKIP() << "no /proc/locks to watch";
  DriveDiskState::update(pin("first"));
  test_support::Signal locked;
  test_support::Signal release;
  test_support::ChildProcess holder([&] {
    fp::FileLock lock(lockFile());
    locked.raise();
    if (!release.await()) return 1;
    // The companion app's change, made while the extension waits.
    writeText(stateFile(), R"({"materialized":[],"pinned":["first","other"],"revision":9})");
    return 0;
  });
  ASSERT_TRUE(locked.await());

  std::atomic<bool> mutated = false;
  std::thread updater([&] {
    DriveDiskState::update([&](FileState& state) {
      mutated = true;
      return state.pinned.insert("mine").second;
    });
  });
  while (!mutated && !someoneWaitsFor(lockFile()))
    std::this_thread::yield();
  EXPECT_FALSE(mutated) << "the update went ahead while the lock was held";
  release.raise();
  updater.join();
  EXPECT_EQ(holder.wait(), 0);
  EXPECT_EQ(DriveDiskState::current(), (FileState{9, {"first", "mine", "other"}, {}}));
}

TEST_F(DiskStateTest, TwoProcessesPinningConcurrentlyLoseNothing) {
  constexpr int kPinsPerProcess = 30;
  const auto pinAll = [](const std::string& prefix) {
    return [prefix] {
      for (int index = 0; index < kPinsPerProcess; ++index)
        DriveDiskState::update(pin(prefix + std::to_string(index)));
      return 0;
    };
  };
  test_support::ChildProcess first(pinAll("first."));
  test_support::ChildProcess second(pinAll("second."));
  ASSERT_EQ(first.wait(), 0);
  ASSERT_EQ(second.wait(), 0);
  EXPECT_EQ(DriveDiskState::current().pinned.size(), 2u * kPinsPerProcess);
}

}  // namespace
}  // namespace drive
