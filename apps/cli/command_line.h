#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "cli/platform_host.h"

namespace CLI {
class App;
class Error;
}  // namespace CLI

namespace drive::cli {

// A parsed request, ready to run against a host.
using Command = std::function<Outcome(PlatformHost&)>;

struct ParsedRequest {
  Command command;
  // The command's name, which tells printForPerson how to lay the result out.
  std::string name;
};

// Adds the platform-request commands to `app`; the one that parses stores itself in `chosen`.
void addRequestCommands(CLI::App& app, ParsedRequest& chosen);

// Parses the words of requests as typed after the global options (shell lines, demo steps).
// Built once and used for many lines: building the commands costs more than a request.
class RequestParser {
 public:
  // `more` adds the caller's own commands, which leave `command` empty.
  explicit RequestParser(const std::function<void(CLI::App&)>& more = {});
  ~RequestParser();
  RequestParser(const RequestParser&) = delete;
  RequestParser& operator=(const RequestParser&) = delete;

  // Throws CLI::Error.
  ParsedRequest parse(std::vector<std::string> words);

 private:
  std::unique_ptr<CLI::App> app_;
  std::unique_ptr<ParsedRequest> chosen_;  // the commands write into it
};

// The text of a usage error; CLI11 reports a mistyped command as a missing one.
std::string usageText(const CLI::App& app, const CLI::Error& error);

// `pralodrive ARGS…`: parses, sets up the environment, runs one command; the exit status.
int runCommandLine(int argc, char** argv);

}  // namespace drive::cli
