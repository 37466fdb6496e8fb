#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "cli/pralodrive_child.h"
#include "support/service_fixture.h"

namespace drive::mount::test_support {

// `pralodrive mount --foreground` of the demo drive in a temporary folder, run as its own
// process against the reference service. Every test ends unmounted, whatever happened.
class MountTest : public drive::test_support::ServiceTest {
 protected:
  void SetUp() override;
  void TearDown() override;

  // Mounts (again); fails the test when no "Mounted" line comes.
  void mount();
  // Unmounts cleanly and waits for the process to end; its exit status.
  int unmount();
  // Ends the mount process with SIGKILL, leaving a dead mount behind.
  void killMount();
  // Sends SIGINT (Ctrl-C) to the mount process; its exit status, its output in `output`.
  int interruptMount(std::string* output);
  // Runs `pralodrive` with these arguments to its end; its exit status, output in `output`.
  int pralodrive(const std::vector<std::string>& arguments, std::string* output);
  // Waits until the replica has sent every queued change; false on a time-out.
  bool syncWait(int seconds = 60);

  // The mounted drive's folder, or a path in it.
  std::filesystem::path drive(const std::string& path = "") const;
  // A folder beside the mount for local files.
  std::filesystem::path local(const std::string& path = "") const;
  // Runs `command` with sh in the mounted folder; its exit status, output in `output`.
  int sh(const std::string& command, std::string* output = nullptr) const;
  // The file at that path on the service ("Alex Morgan/Documents/…"): its contents and id.
  std::optional<std::string> serviceContent(const std::string& path);
  std::optional<std::string> serviceId(const std::string& path);
  // What the mount process wrote to standard error.
  std::string mountErrors() const;

 private:
  std::unique_ptr<cli::test_support::PralodriveChild> child_;
};

}  // namespace drive::mount::test_support
