#include "cli/demo.h"

#include <filesystem>
#include <iostream>
#include <optional>

#include "cli/demo_sandbox.h"
#include "cli/demo_walk.h"
#include "cli/mount_demo.h"
#include "extension/file_provider_extension.h"
#include "reference/stop_signals.h"

namespace drive::cli {
namespace {

void printHowToCarryOn(DemoSandbox& sandbox, std::ostream& out) {
  std::error_code ignored;
  const auto program = std::filesystem::read_symlink("/proc/self/exe", ignored);
  out << "\nThe service keeps running. To carry on by hand, in another terminal:\n\n"
      << "  export PRALODRIVE_API_BASE=" << sandbox.service().baseURL()
      << " PRALODRIVE_COMPANION=" << sandbox.service().companionURL()
      << " PRALODRIVE_CONTAINER=" << sandbox.container().string() << "\n"
      << "  " << (program.empty() ? "pralodrive" : program.string())
      << " list NSFileProviderRootContainerItemIdentifier\n\n"
      << "Press Ctrl-C to stop it." << std::endl;
}

bool walk(DemoSandbox& sandbox, std::ostream& out) {
  FileProviderExtension extension({"eu.vantrel.drive", "PraloDrive"});
  PlatformHost host(extension, extension, extension);
  out << "PraloDrive demo, on the demo drive of the reference service\n"
      << "  service        " << sandbox.service().baseURL() << "\n"
      << "  companion app  " << sandbox.service().companionURL() << "\n"
      << "  container      " << sandbox.container().string() << "\n"
      << "Each step shows the pralodrive command for the platform's request and what the\n"
      << "platform received.\n";
  const bool expected = DemoWalk(host, sandbox.service(), out).run();
  out << (expected ? "\nEvery step answered as expected.\n"
                   : "\nSome steps answered unexpectedly (marked !!).\n");
  return expected;
}

}  // namespace

int runDemo(const DemoOptions& options, std::ostream& out) {
  std::optional<reference::StopSignals> stopSignals;
  if (options.keep) stopSignals.emplace();
  try {
    DemoSandbox sandbox;
    if (std::filesystem::exists("/dev/fuse")) {
      std::function<void()> keep;
      if (options.keep) keep = [&stopSignals] { stopSignals->wait(); };
      return runMountDemo(sandbox, out, keep) ? 0 : 1;
    }
    out << "FUSE is not available here (no /dev/fuse): the drive cannot be mounted, so this\n"
        << "demo makes the platform's requests one by one instead.\n\n";
    const bool expected = walk(sandbox, out);
    if (options.keep) {
      printHowToCarryOn(sandbox, out);
      stopSignals->wait();
      out << "Stopped." << std::endl;
    }
    return expected ? 0 : 1;
  } catch (const std::exception& error) {
    std::cerr << "pralodrive demo: " << error.what() << std::endl;
    return 1;
  }
}

}  // namespace drive::cli
