#include "support/test_environment.h"

#include <cstdlib>

#include "extension/process_state.h"
#include "platform/task_runner.h"

namespace drive::test_support {

FakeClock::FakeClock(std::chrono::system_clock::time_point start) : now_(start) {}

std::chrono::system_clock::time_point FakeClock::now() const {
  fp::MutexLock lock(mutex_);
  return now_;
}

void FakeClock::sleepFor(std::chrono::nanoseconds duration) {
  fp::MutexLock lock(mutex_);
  sleeps_.push_back(duration);
  now_ += std::chrono::duration_cast<std::chrono::system_clock::duration>(duration);
}

void FakeClock::advance(std::chrono::nanoseconds duration) {
  fp::MutexLock lock(mutex_);
  now_ += std::chrono::duration_cast<std::chrono::system_clock::duration>(duration);
}

std::vector<std::chrono::nanoseconds> FakeClock::sleeps() const {
  fp::MutexLock lock(mutex_);
  return sleeps_;
}

void DriveTest::SetUp() {
  std::string pattern =
      (std::filesystem::temp_directory_path() / "pralodrive-test-XXXXXX").string();
  ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
  root_ = pattern;
  // 2026-11-16T20:17:20Z: a fixed start keeps time stamps in traces predictable.
  clock_ = std::make_shared<FakeClock>(
      std::chrono::system_clock::time_point(std::chrono::seconds(1794860240)));
  environment_ = fp::Environment::defaults();
  environment_.homeDirectory = root_ / "home";
  environment_.dataHome = root_ / "data";
  environment_.configHome = root_ / "config";
  environment_.appGroupContainer = root_ / "container";
  environment_.temporaryDirectory = root_ / "tmp";
  std::filesystem::create_directories(environment_.temporaryDirectory);
  environment_.clock = clock_;
  fp::Environment::install(environment_);
  resetProcessStateForTesting();
}

void DriveTest::TearDown() {
  fp::TaskRunner::shared().waitIdle();
  fp::Environment::install(fp::Environment::defaults());
  std::error_code ignored;
  std::filesystem::remove_all(root_, ignored);
}

void DriveTest::configure(const std::function<void(fp::Environment&)>& change) {
  change(environment_);
  fp::Environment::install(environment_);
}

}  // namespace drive::test_support
