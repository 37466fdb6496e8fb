#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

#include "platform/environment.h"
#include "platform/thread_annotations.h"

namespace drive::test_support {

// A clock that never waits: sleeping advances it at once and is recorded.
class FakeClock : public fp::Clock {
 public:
  explicit FakeClock(std::chrono::system_clock::time_point start);
  std::chrono::system_clock::time_point now() const override;
  void sleepFor(std::chrono::nanoseconds duration) override;
  void advance(std::chrono::nanoseconds duration);
  std::vector<std::chrono::nanoseconds> sleeps() const;

 private:
  mutable fp::Mutex mutex_;
  std::chrono::system_clock::time_point now_ GUARDED_BY(mutex_);
  std::vector<std::chrono::nanoseconds> sleeps_ GUARDED_BY(mutex_);
};

// A fresh environment per test: its own temporary home, configuration directory and
// container, a fake clock, and the process-wide caches forgotten.
class DriveTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // Changes the installed environment in place.
  void configure(const std::function<void(fp::Environment&)>& change);

  const std::filesystem::path& root() const { return root_; }
  std::filesystem::path container() const { return *environment_.appGroupContainer; }
  FakeClock& clock() { return *clock_; }

 private:
  std::filesystem::path root_;
  fp::Environment environment_;
  std::shared_ptr<FakeClock> clock_;
};

}  // namespace drive::test_support
