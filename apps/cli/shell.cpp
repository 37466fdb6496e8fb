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

// Parses one line; nullopt for "sleep", which is carried out here.
std::optional<Outcome> runLine(PlatformHost& host, std::vector<std::string> words) {
  CLI::App app("pralodrive shell");
  app.require_subcommand(1);
  Command chosen;
  std::string name;
  addRequestCommands(app, chosen, name);
  double seconds = -1;
  app.add_subcommand("sleep", "pause")
      ->add_option("SECONDS", seconds)
      ->required()
      ->check(CLI::NonNegativeNumber);
  const auto commands = app.get_subcommands([&](const CLI::App* command) {
    return !words.empty() && command->get_name() == words.front();
  });
  if (!words.empty() && commands.empty()) {
    return usageError("unknown command \"" + words.front() + "\"");
  }
  std::reverse(words.begin(), words.end());
  try {
    app.parse(words);
  } catch (const CLI::Error& error) {
    return usageError(error.what());
  }
  if (seconds >= 0) {
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    return std::nullopt;
  }
  return chosen(host);
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
