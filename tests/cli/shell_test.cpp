#include "cli/shell.h"

#include <gtest/gtest.h>

#include <sstream>

#include "support/service_fixture.h"

namespace drive {
namespace {

class ShellTest : public test_support::ServiceTest {
 protected:
  // The JSON result lines of a shell session.
  std::vector<nlohmann::json> run(const std::string& lines) {
    std::istringstream in(lines);
    std::ostringstream out;
    cli::PlatformHost host(extension(), extension(), extension());
    cli::runShell(host, in, out);
    std::vector<nlohmann::json> results;
    std::istringstream printed(out.str());
    for (std::string line; std::getline(printed, line);)
      results.push_back(nlohmann::json::parse(line));
    return results;
  }
};

// One parser serves every line, so an option must not outlive the line that gave it.
TEST_F(ShellTest, OptionsDoNotCarryOverToLaterLines) {
  const auto notes = nodeIdentifier("Alex Morgan/Documents/Notes.md");
  const auto results = run("fetch " + notes + " --version pinned\nfetch " + notes + "\n");
  ASSERT_EQ(results.size(), 2u);
  EXPECT_EQ(results[0]["item"]["contentVersion"], "pinned");
  EXPECT_NE(results[1]["item"]["contentVersion"], "pinned");
}

}  // namespace
}  // namespace drive
