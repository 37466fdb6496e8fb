#include "shell.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <iostream>
#include <thread>

#include "command_line.h"
#include "shell_words.h"

namespace drive::cli {
namespace {

bool isBlank(const std::string& line) {
  return std::all_of(line.begin(), line.end(), [](unsigned char c) { return std::isspace(c); });
}

// One parser for the whole session: building it took longer than most requests.
class LineParser {
 public:
  LineParser() {
    app_.require_subcommand(1);
    addRequestCommands(app_, chosen_, name_);
    app_.add_subcommand("sleep", "pause")
        ->add_option("SECONDS", seconds_)
        ->required()
        ->check(CLI::NonNegativeNumber);
  }
  LineParser(const LineParser&) = delete;
  LineParser& operator=(const LineParser&) = delete;

  // Runs one line; nullopt for "sleep", which is carried out here.
  std::optional<Outcome> run(PlatformHost& host, std::vector<std::string> words) {
    const auto commands = app_.get_subcommands([&](const CLI::App* command) {
      return !words.empty() && command->get_name() == words.front();
    });
    if (!words.empty() && commands.empty()) {
      return usageError("unknown command \"" + words.front() + "\"");
    }
    chosen_ = nullptr;
    seconds_ = -1;
    std::reverse(words.begin(), words.end());
    try {
      app_.parse(words);
    } catch (const CLI::Error& error) {
      return usageError(error.what());
    }
    if (seconds_ >= 0) {
      std::this_thread::sleep_for(std::chrono::duration<double>(seconds_));
      return std::nullopt;
    }
    return chosen_(host);
  }

 private:
  CLI::App app_{"pralodrive shell"};
  Command chosen_;
  std::string name_;
  double seconds_ = -1;
};

}  // namespace

int runShell(PlatformHost& host, std::istream& in, std::ostream& out) {
  LineParser parser;
  for (std::string line; std::getline(in, line);) {
    if (isBlank(line)) continue;
    const auto words = splitShellWords(line);
    const auto outcome = words ? parser.run(host, *words)
                               : std::optional(usageError("unterminated quote or escape"));
    if (outcome) out << dumpLine(outcome->json) << std::endl;
  }
  return 0;
}

}  // namespace drive::cli
