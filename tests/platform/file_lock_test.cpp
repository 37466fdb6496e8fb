#include "platform/file_lock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "support/child_process.h"
#include "support/test_environment.h"

namespace drive {
namespace {

using FileLockTest = test_support::DriveTest;

TEST_F(FileLockTest, AnotherProcessWaitsUntilTheHolderLetsGo) {
  const auto path = root() / "state.lock";
  test_support::Signal locked;
  test_support::Signal release;
  test_support::ChildProcess holder([&] {
    fp::FileLock lock(path);
    locked.raise();
    return release.await() ? 0 : 1;
  });
  ASSERT_TRUE(locked.await());

  std::atomic<bool> acquired = false;
  std::thread waiter([&] {
    fp::FileLock lock(path);
    acquired = true;
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  EXPECT_FALSE(acquired) << "the lock was taken while another process held it";
  release.raise();
  waiter.join();
  EXPECT_TRUE(acquired);
  EXPECT_EQ(holder.wait(), 0);
}

TEST_F(FileLockTest, ALockFileThatCannotBeOpenedHoldsNothingAndDoesNotBlock) {
  fp::FileLock first(root() / "missing-folder" / "state.lock");
  fp::FileLock second(root() / "missing-folder" / "state.lock");
  EXPECT_FALSE(std::filesystem::exists(root() / "missing-folder"));
}

}  // namespace
}  // namespace drive
