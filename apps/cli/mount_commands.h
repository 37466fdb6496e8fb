#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "cli/platform_host.h"

namespace CLI {
class App;
}

namespace drive::cli {

// `mount DIR …`, `unmount DIR` and `status PATH…`: the drive as a folder.
struct MountCommand {
  enum class Which { none, mount, unmount } which = Which::none;
  std::string folder;
  double pollSeconds = 30;
  std::optional<std::string> cacheLimit;
  bool allowOther = false;
  bool foreground = false;
  // `status` of items of a mounted drive.
  std::vector<std::string> paths;

  bool chosen() const { return which != Which::none || !paths.empty(); }
};

// Adds mount and unmount, and paths to the `status` command added before.
void addMountCommands(CLI::App& app, MountCommand& command);

// Runs the chosen command; the exit status.
int runMountCommand(const MountCommand& command, bool json, std::ostream& out, std::ostream& err);

// "10G", "500M", "64k" or a number of bytes; none for anything else.
std::optional<std::uint64_t> parseSize(const std::string& text);

// Whether `path` is an item of a mounted drive; its identifier then.
std::optional<std::string> identifierAtPath(const std::string& path);
// `action`: short names for the action, paths of a mounted drive for the items. When every
// item is such a path, the mount's own replica performs it (so that keep-offline downloads).
Outcome performAction(PlatformHost& host, const std::string& action,
                      const std::vector<std::string>& items);

}  // namespace drive::cli
