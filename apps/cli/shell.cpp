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

// Runs one line; nullopt for "sleep", which prints nothing.
std::optional<Outcome> runLine(PlatformHost& host, const std::vector<std::string>& words) {
  double seconds = -1;
  ParsedRequest request;
  try {
    request = parseRequest(words, [&seconds](CLI::App& app) {
      app.add_subcommand("sleep", "pause")
          ->add_option("SECONDS", seconds)
          ->required()
          ->check(CLI::Range(0.0, 86400.0));
    });
  } catch (const CLI::Error& error) {
    return usageError(error.what());
  }
  if (!request.command) {
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    return std::nullopt;
  }
  return request.command(host);
}

}  // namespace

int runShell(PlatformHost& host, std::istream& in, std::ostream& out) {
  for (std::string line; std::getline(in, line);) {
    if (isBlank(line)) continue;
    const auto words = splitShellWords(line);
    const auto outcome =
        words ? runLine(host, *words) : std::optional(usageError("unterminated quote or escape"));
    if (outcome) out << dumpLine(outcome->json) << std::endl;
  }
  return 0;
}

}  // namespace drive::cli
