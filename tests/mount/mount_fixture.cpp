#include "mount/mount_fixture.h"

#include <signal.h>
#include <stdio.h>

#include <array>
#include <iostream>

#include "session/session_store.h"
#include "support/test_files.h"

namespace drive::mount::test_support {

void MountTest::SetUp() {
  ServiceTest::SetUp();
  if (!std::filesystem::exists("/dev/fuse")) GTEST_SKIP() << "no /dev/fuse: FUSE is not available";
  // The mount process judges the token by the real clock, not this test's fake one.
  saveSession(service().issueSession(std::chrono::system_clock::now() + std::chrono::days(365)));
  std::filesystem::create_directories(drive());
  std::filesystem::create_directories(local());
  mount();
}

void MountTest::TearDown() {
  if (std::filesystem::exists("/dev/fuse")) {
    // Lazily, so that a test that failed with a file still open cannot leave it behind;
    // a mount in the background ends with it too.
    [[maybe_unused]] const int ignored =
        std::system(("fusermount3 -u -z '" + drive().string() + "' 2>/dev/null").c_str());
  }
  if (child_) child_->finish();
  child_.reset();
  // What the mount said is the first thing to read when a test of it failed.
  if (HasFailure()) std::cerr << "mount's errors:\n" << mountErrors();
  ServiceTest::TearDown();
}

void MountTest::mount() {
  child_ = std::make_unique<cli::test_support::PralodriveChild>(
      std::vector<std::string>{"--verbose", "mount", drive().string(), "--foreground", "--poll",
                               "1"},
      childEnvironment(), root() / "mount-stderr.txt");
  const auto line = child_->readLine();
  ASSERT_TRUE(line && line->starts_with("Mounted")) << line.value_or("") << mountErrors();
}

int MountTest::unmount() {
  if (!child_) return -1;
  // Outside the mount, or the shell's own folder keeps it busy.
  const auto folder = "'" + drive().string() + "'";
  EXPECT_EQ(std::system(("fusermount3 -u " + folder + " || fusermount3 -u -z " + folder).c_str()),
            0);
  const int status = child_->finish();
  child_.reset();
  return status;
}

void MountTest::killMount() {
  child_->sendSignal(SIGKILL);
  child_->finish();
  child_.reset();
}

int MountTest::interruptMount(std::string* output) {
  child_->sendSignal(SIGINT);
  const int status = child_->finish();
  *output = child_->rest();
  child_.reset();
  return status;
}

int MountTest::pralodrive(const std::vector<std::string>& arguments, std::string* output) {
  const auto errors = root() / "command-stderr.txt";
  cli::test_support::PralodriveChild command(arguments, childEnvironment(), errors);
  const int status = command.finish();
  *output = command.rest() + drive::test_support::readText(errors);
  return status;
}

bool MountTest::syncWait(int seconds) {
  cli::test_support::PralodriveChild sync({"sync", "--wait", std::to_string(seconds)},
                                          childEnvironment(), root() / "sync-stderr.txt");
  return sync.finish() == 0;
}

std::filesystem::path MountTest::drive(const std::string& path) const {
  return path.empty() ? root() / "mnt" : root() / "mnt" / path;
}

std::filesystem::path MountTest::local(const std::string& path) const {
  return path.empty() ? root() / "local" : root() / "local" / path;
}

int MountTest::sh(const std::string& command, std::string* output) const {
  const auto line = "cd '" + drive().string() + "' && { " + command + " ; } 2>&1";
  FILE* pipe = ::popen(line.c_str(), "r");
  if (!pipe) return -1;
  std::string text;
  std::array<char, 4096> buffer{};
  while (const auto got = std::fread(buffer.data(), 1, buffer.size(), pipe))
    text.append(buffer.data(), got);
  const int status = ::pclose(pipe);
  if (output) *output = text;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::optional<std::string> MountTest::serviceId(const std::string& path) {
  const auto node = service().tree().nodeAt(path);
  if (!node || node->trashedAt) return std::nullopt;
  return node->id;
}

std::optional<std::string> MountTest::serviceContent(const std::string& path) {
  const auto id = serviceId(path);
  if (!id) return std::nullopt;
  return service().tree().content(*id);
}

std::string MountTest::mountErrors() const {
  return drive::test_support::readText(root() / "mount-stderr.txt");
}

}  // namespace drive::mount::test_support
