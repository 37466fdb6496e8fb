// pralodrive-reference: the reference storage service and companion stand-in, until SIGINT or
// SIGTERM.
#include <signal.h>

#include <CLI/CLI.hpp>
#include <iostream>

#include "reference/reference_service.h"
#include "reference/stop_signals.h"

namespace {

using drive::reference::ReferenceOptions;
using drive::reference::ReferenceService;

int serve(ReferenceOptions options, const std::string& seed) {
  const drive::reference::StopSignals stopSignals;
  ::signal(SIGPIPE, SIG_IGN);
  ReferenceService service(std::move(options));
  if (seed == "demo") service.seedDemo();
  service.start();
  std::cout << "service " << service.baseURL() << "\n"
            << "companion " << service.companionURL() << std::endl;
  stopSignals.wait();
  service.stop();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"Reference storage service and companion-app stand-in, on 127.0.0.1"};
  ReferenceOptions options;
  options.companionPort = 17892;
  std::string seed;
  std::string data;
  std::string container;
  app.add_option("--seed", seed, "Fill an empty store with a sample drive")
      ->check(CLI::IsMember({"demo"}));
  app.add_option("--data", data, "Keep the store in DIR across runs (default: temporary)")
      ->option_text("DIR");
  app.add_option("--port", options.port, "Port of the service (default: any free port)")
      ->check(CLI::Range(0, 65535));
  app.add_option("--companion-port", options.companionPort, "Port of the companion stand-in")
      ->check(CLI::Range(0, 65535))
      ->capture_default_str();
  app.add_option("--container", container,
                 "Where the companion writes the shared files (default: the app-group container)")
      ->option_text("DIR");
  CLI11_PARSE(app, argc, argv);
  if (!data.empty()) options.dataDirectory = data;
  if (!container.empty()) options.container = container;
  try {
    return serve(std::move(options), seed);
  } catch (const std::exception& error) {
    std::cerr << "pralodrive-reference: " << error.what() << "\n";
    return 1;
  }
}
