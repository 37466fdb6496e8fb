#include "app_group/trace_log.h"

#include <gtest/gtest.h>

#include "support/test_environment.h"
#include "support/test_files.h"

namespace drive {
namespace {

class TraceLogTest : public test_support::DriveTest {
 protected:
  std::filesystem::path log() { return container() / "drive-trace.log"; }
};

TEST_F(TraceLogTest, AppendsOneTimedLinePerMessage) {
  trace("first");
  clock().advance(std::chrono::seconds(61));
  trace("second");
  EXPECT_EQ(test_support::readText(log()),
            "2026-11-16T20:17:20Z first\n2026-11-16T20:18:21Z second\n");
}

TEST_F(TraceLogTest, StartsAgainOnlyPastTheSizeLimit) {
  const std::string record = "2026-11-16T20:17:20Z next\n";
  test_support::writeText(log(), std::string(120000, 'x'));
  trace("next");
  EXPECT_EQ(test_support::readText(log()), std::string(120000, 'x') + record);

  test_support::writeText(log(), std::string(120001, 'x'));
  trace("next");
  EXPECT_EQ(test_support::readText(log()), record);
}

}  // namespace
}  // namespace drive
