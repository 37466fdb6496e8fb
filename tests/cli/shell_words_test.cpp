// The parts of the host that need no process: shell words and the service URLs it accepts.
#include "cli/shell_words.h"

#include <gtest/gtest.h>

#include "cli/global_options.h"

namespace drive::cli {
namespace {

using Words = std::vector<std::string>;

TEST(ShellWords, SplitAsAPosixShellAndQuoteBackToThemselves) {
  EXPECT_EQ(splitShellWords(R"(list  "a \"b\" \c" 'd\' e\ f '' "")"),
            (Words{"list", R"(a "b" \c)", "d\\", "e f", "", ""}));
  EXPECT_EQ(splitShellWords("item 'open"), std::nullopt);
  EXPECT_EQ(splitShellWords("item trailing\\"), std::nullopt);

  const Words words{"plain", "", "two words", "it's", "back\\slash", "\"quoted\"", "$HOME", "ü"};
  std::string line;
  for (const auto& word : words)
    line += shellQuoted(word) + " ";
  EXPECT_EQ(splitShellWords(line), words);
  EXPECT_EQ(shellQuoted("node:4a34e79e"), "node:4a34e79e");
}

TEST(ServiceURLs, PlainHttpOnlyForLoopbackHosts) {
  for (const auto* url : {"https://api.example.com", "http://127.0.0.1:8080", "http://127.5.6.7/",
                          "http://localhost:1", "http://[::1]:8080/"}) {
    EXPECT_TRUE(isAcceptableServiceURL(url)) << url;
  }
  for (const auto* url : {"http://example.com", "http://128.0.0.1", "http://[::2]:80",
                          "http://127.0.0.1.example.com", "ftp://127.0.0.1", "not a url", ""}) {
    EXPECT_FALSE(isAcceptableServiceURL(url)) << url;
  }
}

}  // namespace
}  // namespace drive::cli
