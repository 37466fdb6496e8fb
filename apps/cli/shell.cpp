#include "cli/shell.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <iostream>
#include <thread>

#include "cli/command_line.h"
#include "cli/shell_words.h"

namespace drive::cli {
namespace {

bool isBlank(const std::string& line) {
  return std::all_of(line.begin(), line.end(), [](unsigned char c) { return std::isspace(c); });
}

// The session's commands, with "sleep" beside the requests.
class ShellParser {
 public:
  ShellParser()
      : parser_([this](CLI::App& app) {
          app.add_subcommand("sleep", "pause")
              ->add_option("SECONDS", seconds_)
              ->required()
              ->check(CLI::Range(0.0, 86400.0));
        }) {}

  // Runs one line; nullopt for "sleep", which prints nothing.
  std::optional<Outcome> run(PlatformHost& host, const std::vector<std::string>& words) {
    ParsedRequest request;
    try {
      request = parser_.parse(words);
    } catch (const CLI::Error& error) {
      return usageError(error.what());
    }
    if (!request.command) {
      std::this_thread::sleep_for(std::chrono::duration<double>(seconds_));
      return std::nullopt;
    }
    return request.command(host);
  }

 private:
  double seconds_ = 0;
  RequestParser parser_;
};

}  // namespace

int runShell(PlatformHost& host, std::istream& in, std::ostream& out) {
  ShellParser parser;
  for (std::string line; std::getline(in, line);) {
    if (isBlank(line)) continue;
    const auto words = splitShellWords(line);
    const auto outcome = words ? parser.run(host, *words)
                               : std::optional(usageError("unterminated quote or escape"));
    if (outcome) printJSONLine(*outcome, out);
  }
  return 0;
}

}  // namespace drive::cli
