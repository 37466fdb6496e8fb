#pragma once

#include <optional>
#include <ostream>

namespace CLI {
class App;
}

namespace drive::cli {

// `status [--json]` and `sync [--wait [SECONDS]]`: the replica as seen from the command line.
struct ReplicaCommand {
  enum class Which { none, status, sync } which = Which::none;
  bool wait = false;
  // None: wait as long as it takes.
  std::optional<double> seconds;
};

void addReplicaCommands(CLI::App& app, ReplicaCommand& command);

// Runs the chosen command; the exit status.
int runReplicaCommand(const ReplicaCommand& command, bool json, std::ostream& out,
                      std::ostream& err);

}  // namespace drive::cli
