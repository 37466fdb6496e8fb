#include "shared/trace_log.h"

#include <gtest/gtest.h>

#include "test_environment.h"
#include "test_files.h"

namespace drive {
namespace {

class TraceLogTest : public testing::DriveTest {
 protected:
  std::filesystem::path log() { return container() / "drive-trace.log"; }
};

TEST_F(TraceLogTest, AppendsOneTimedLinePerMessage) {
  trace("first");
  clock().advance(std::chrono::seconds(61));
  trace("second");
  EXPECT_EQ(testing::readText(log()), "2026-11-16T20:17:20Z first\n2026-11-16T20:18:21Z second\n");
}

TEST_F(TraceLogTest, StartsAgainOnlyPastTheSizeLimit) {
  const std::string record = "2026-11-16T20:17:20Z next\n";
  testing::writeText(log(), std::string(120000, 'x'));
  trace("next");
  EXPECT_EQ(testing::readText(log()), std::string(120000, 'x') + record);

  testing::writeText(log(), std::string(120001, 'x'));
  trace("next");
  EXPECT_EQ(testing::readText(log()), record);
}

TEST_F(TraceLogTest, KeepsEveryMessageOnOneLine) {
  using namespace std::string_literals;
  trace("menu x\n2030-01-01T00:00:00Z menu node:FORGED"s);
  trace(
      "a\0b\rc\td\x7f"
      "e\u2028f\u2029g\u00e9"s);
  EXPECT_EQ(testing::readText(log()),
            "2026-11-16T20:17:20Z menu x 2030-01-01T00:00:00Z menu node:FORGED\n"
            "2026-11-16T20:17:20Z a b c d e f g\u00e9\n");
}

TEST_F(TraceLogTest, CutsLongRecordsAtACharacter) {
  const std::string time = "2026-11-16T20:17:20Z ";
  trace(std::string(5000, 'y'));
  EXPECT_EQ(testing::readText(log()), time + std::string(4092 - time.size(), 'y') + "\u2026\n");

  // The cut falls on the second byte of the first "é": it backs off to the character's start.
  std::filesystem::remove(log());
  trace(std::string(4070, 'a') + "\u00e9\u00e9\u00e9");
  EXPECT_EQ(testing::readText(log()), time + std::string(4070, 'a') + "\u2026\n");
}

}  // namespace
}  // namespace drive
