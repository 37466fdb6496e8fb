// bench-replica: the replica's figures for run_bench.sh. Takes the service, container and
// directories from the environment, as `pralodrive` does.
//   bench-replica list PATH             lists the folder at PATH into a replica; prints the
//                                       number of children and the resident memory after it
//   bench-replica create PATH COUNT     queues COUNT creates of 4 KiB files in the folder at
//                                       PATH and waits until all reached the service
#include <malloc.h>

#include <CLI/CLI.hpp>
#include <fstream>
#include <iostream>
#include <string>

#include "cli/global_options.h"
#include "extension/file_provider_extension.h"
#include "platform/atomic_file.h"
#include "replica/replica.h"

namespace {

using drive::replica::Replica;

double residentMiB() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmRSS:")) return std::stod(line.substr(6)) / 1024;
  }
  return 0;
}

drive::replica::ItemInfo folderAt(Replica& replica, const std::string& path) {
  const auto folder = replica.itemAtPath(path);
  if (!folder || !folder->isFolder) throw std::runtime_error("no folder at " + path);
  return *folder;
}

int list(Replica& replica, const std::string& path) {
  // The figure is what the replica keeps, not the caller's copy of the answer.
  // As the mount asks, for an `ls`: the listing, not every child's full record.
  const auto count = replica.listing(folderAt(replica, path).key).size();
  malloc_trim(0);
  std::cout << count << " item(s)\nresident " << residentMiB() << " MiB\n";
  return 0;
}

int create(Replica& replica, const std::string& path, int count) {
  const auto folder = folderAt(replica, path);
  const auto prefix = "Replica " + std::to_string(getpid()) + " ";
  const std::string bytes(4096, 'x');
  for (int index = 0; index < count; ++index) {
    const auto file = replica.createFile(folder.key, prefix + std::to_string(index) + ".bin");
    if (!fp::writeFileAtomically(replica.writableCopy(file.key), bytes)) return 1;
    replica.contentsChanged(file.key);
  }
  replica.start();
  return replica.waitUntilIdle(std::chrono::minutes(10)) ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("bench-replica");
  drive::cli::GlobalOptions globals;
  drive::cli::addGlobalOptions(app, globals);
  std::string command;
  std::string path;
  int count = 0;
  app.add_option("command", command)->required();
  app.add_option("path", path)->required();
  app.add_option("count", count);
  CLI11_PARSE(app, argc, argv);
  drive::cli::applyGlobalOptions(globals);
  drive::FileProviderExtension extension({"eu.vantrel.drive", "PraloDrive"});
  auto options = drive::replica::ReplicaOptions::defaults();
  options.signalDirectory.reset();
  Replica replica(extension, options);
  try {
    return command == "list" ? list(replica, path) : create(replica, path, count);
  } catch (const std::exception& error) {
    std::cerr << "bench-replica: " << error.what() << "\n";
    return 1;
  }
}
