// A fetch receives into a shared mapping of the file it delivers: however large the file, the
// process holds little anonymous memory, which the kernel could only free by killing it.
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <nlohmann/json.hpp>
#include <thread>

#include "cli/pralodrive_child.h"
#include "session/session_store.h"
#include "support/service_fixture.h"
#include "support/test_files.h"

namespace drive::cli::test_support {
namespace {

constexpr std::uint64_t kLargeFile = 256ull << 20;
// Far below the file's size, far above what the transfer's buffers take.
constexpr long kBoundKiB = 64 << 10;

// The anonymous resident memory of a running process, in KiB; none once it has exited.
std::optional<long> anonymousKiB(pid_t pid) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("RssAnon:")) return std::stol(line.substr(8));
  }
  return std::nullopt;
}

class FetchMemory : public drive::test_support::ServiceTest {
 protected:
  void SetUp() override {
    ServiceTest::SetUp();
    // The child judges the token's expiry by the real clock, not this test's fake one.
    saveSession(service().issueSession(std::chrono::system_clock::now() + std::chrono::days(365)));
  }

  std::string addFile(const std::string& name, std::uint64_t size) {
    const auto node = service().tree().addFile(idOf("Alex Morgan/Photos"), name, "");
    service().tree().writeContent(node.id, std::string(size, 'v'));
    return "node:" + node.id;
  }

  // Fetches with `pralodrive`, sampling its anonymous memory every millisecond: the peak, in
  // KiB.
  long peakWhileFetching(const std::string& identifier) {
    const auto errors = root() / "fetch.err";
    PralodriveChild fetch({"--json", "fetch", identifier}, childEnvironment(), errors);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(2);
    long peak = 0;
    while (const auto kib = anonymousKiB(fetch.pid())) {
      peak = std::max(peak, *kib);
      if (std::chrono::steady_clock::now() > deadline) {
        ADD_FAILURE() << "the fetch did not end";
        fetch.sendSignal(SIGKILL);
        break;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_EQ(fetch.finish(), 0) << drive::test_support::readText(errors);
    const auto answer = nlohmann::json::parse(fetch.rest(), nullptr, false);
    delivered_ = answer.contains("path") ? answer["path"].get<std::string>() : "";
    return peak;
  }

  std::filesystem::path delivered_;
};

// Measured against a small fetch, so that what a sanitizer adds to every process cancels out.
TEST_F(FetchMemory, ALargeFetchHoldsItsContentInTheFileNotInMemory) {
  const auto small = addFile("Still.jpg", 4096);
  const auto large = addFile("Film.mov", kLargeFile);
  const long baseline = peakWhileFetching(small);
  const long peak = peakWhileFetching(large);
  std::error_code error;
  EXPECT_EQ(std::filesystem::file_size(delivered_, error), kLargeFile) << delivered_;
  EXPECT_LT(peak - baseline, kBoundKiB)
      << "peak " << peak << " KiB, baseline " << baseline << " KiB";
}

}  // namespace
}  // namespace drive::cli::test_support
