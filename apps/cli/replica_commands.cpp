#include "cli/replica_commands.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>
#include <thread>

#include "extension/file_provider_extension.h"
#include "replica/host_lock.h"
#include "replica/replica.h"
#include "replica/transfer_progress.h"

namespace drive::cli {
namespace {

using replica::ReplicaStatus;

nlohmann::ordered_json statusJSON(const ReplicaStatus& status) {
  nlohmann::ordered_json json = {
      {"itemsKnown", status.itemsKnown},        {"foldersListed", status.foldersListed},
      {"storeBytes", status.store.used},        {"storeLimit", status.store.limit},
      {"keptOffline", status.keptOffline},      {"queue", nlohmann::ordered_json::array()},
      {"held", nlohmann::ordered_json::array()}};
  for (const auto& change : status.queue) {
    nlohmann::ordered_json entry = {{"kind", change.kind},
                                    {"path", change.path},
                                    {"attempts", change.attempts},
                                    {"lastError", change.lastError}};
    json["queue"].push_back(entry);
  }
  for (const auto& item : status.held) {
    json["held"].push_back({{"path", item.path}, {"state", item.state}, {"reason", item.reason}});
  }
  return json;
}

void printQueue(const ReplicaStatus& status, std::ostream& out) {
  for (const auto& change : status.queue) {
    out << "  " << change.kind << " " << change.path << " (attempts " << change.attempts;
    if (!change.lastError.empty()) out << ", last error: " << change.lastError;
    out << ")\n";
  }
}

void printStatus(const ReplicaStatus& status, std::ostream& out) {
  out << "Items known: " << status.itemsKnown << "\n"
      << "Folders listed: " << status.foldersListed << "\n"
      << "Stored: " << replica::byteText(static_cast<double>(status.store.used)) << " of "
      << replica::byteText(static_cast<double>(status.store.limit)) << "\n"
      << "Kept offline: " << status.keptOffline << "\n"
      << "Queued changes: " << status.queue.size() << "\n";
  printQueue(status, out);
  for (const auto& item : status.held)
    out << "  " << item.state << ": " << item.path << " — " << item.reason << "\n";
}

replica::ReplicaOptions hostOptions() {
  auto options = replica::ReplicaOptions::defaults();
  if (isatty(STDERR_FILENO)) options.progressFd = STDERR_FILENO;
  return options;
}

bool queueEmpty(const replica::ReplicaOptions& options) {
  return replica::readQueueLength(options) == 0;
}

// Runs the replica here, one pass after another while waiting.
void syncInProcess(const ReplicaCommand& command, const replica::ReplicaOptions& options,
                   std::chrono::steady_clock::time_point deadline) {
  FileProviderExtension extension({"eu.vantrel.drive", "PraloDrive"});
  replica::HostLock lock(options.stateDirectory);
  replica::Replica replica(extension, options);
  replica.runOnce();
  while (command.wait && !queueEmpty(options) && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    replica.runOnce();
  }
}

int syncCommand(const ReplicaCommand& command, bool json, std::ostream& out, std::ostream& err) {
  const auto options = hostOptions();
  const auto deadline =
      command.seconds ? std::chrono::steady_clock::now() +
                            std::chrono::milliseconds(static_cast<long>(*command.seconds * 1000))
                      : std::chrono::steady_clock::time_point::max();
  try {
    if (replica::HostLock::isHeld(options.stateDirectory)) {
      replica::HostLock::requestSync(options.stateDirectory);
      // Asked often: a count of the queue, not the whole status of a large replica.
      while (command.wait && !queueEmpty(options) && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    } else {
      syncInProcess(command, options, deadline);
    }
  } catch (const replica::ReplicaError& error) {
    err << "pralodrive: " << error.what() << "\n";
    return 1;
  }
  const auto status = replica::readStatus(options);
  if (json) out << statusJSON(status).dump() << "\n";
  if (!command.wait || status.queue.empty()) return 0;
  if (!json) {
    err << "Still queued: " << status.queue.size() << " changes\n";
    printQueue(status, err);
  }
  return 1;
}

}  // namespace

void addReplicaCommands(CLI::App& app, ReplicaCommand& command) {
  app.add_subcommand("status", "show the replica: items, store, queue, refused items")
      ->callback([&command] { command.which = ReplicaCommand::Which::status; });
  auto* sync = app.add_subcommand("sync", "bring the replica up to date and send its queue");
  auto* wait =
      sync->add_option("--wait", "wait until the queue is empty, at most SECONDS")->expected(0, 1);
  sync->callback([&command, wait] {
    command.which = ReplicaCommand::Which::sync;
    command.wait = wait->count() > 0;
    if (!wait->results().empty() && !wait->results().front().empty()) {
      try {
        command.seconds = std::stod(wait->results().front());
      } catch (const std::exception&) {
        throw CLI::ValidationError("--wait takes a number of seconds");
      }
    }
  });
}

int runReplicaCommand(const ReplicaCommand& command, bool json, std::ostream& out,
                      std::ostream& err) {
  if (command.which == ReplicaCommand::Which::sync) return syncCommand(command, json, out, err);
  try {
    const auto status = replica::readStatus(hostOptions());
    if (json) {
      out << statusJSON(status).dump() << "\n";
    } else {
      printStatus(status, out);
    }
  } catch (const replica::ReplicaError& error) {
    err << "pralodrive: " << error.what() << "\n";
    return 1;
  }
  return 0;
}

}  // namespace drive::cli
