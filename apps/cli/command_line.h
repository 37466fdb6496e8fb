#pragma once

#include <functional>
#include <iosfwd>
#include <memory>
#include <string>

#include "platform_host.h"

namespace CLI {
class App;
}

namespace drive::cli {

// A parsed request, ready to run against a host.
using Command = std::function<Outcome(PlatformHost&)>;

// Adds the platform-request commands to `app`; the one that parses stores itself in `chosen`
// and its name in `name`.
void addRequestCommands(CLI::App& app, Command& chosen, std::string& name);

// `pralodrive ARGS…`: parses, sets up the environment, runs one command; the exit status.
int runCommandLine(int argc, char** argv);

}  // namespace drive::cli
