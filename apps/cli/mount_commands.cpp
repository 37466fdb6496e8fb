#include "cli/mount_commands.h"

#include <sys/xattr.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cmath>
#include <cstring>
#include <nlohmann/json.hpp>

#include "cli/mount_host.h"
#include "mount/action_names.h"
#include "mount/item_xattrs.h"
#include "mount/mount_error.h"
#include "mount/mount_lock.h"
#include "replica/replica_options.h"

namespace drive::cli {
namespace {

std::optional<std::string> xattrAt(const std::string& path, const std::string& name) {
  std::string value(4096, '\0');
  const auto size = ::getxattr(path.c_str(), name.c_str(), value.data(), value.size());
  if (size < 0) return std::nullopt;
  value.resize(static_cast<std::size_t>(size));
  return value;
}

int unmountCommand(const MountCommand& command, std::ostream& out, std::ostream& err) {
  const auto folder = std::filesystem::absolute(command.folder).lexically_normal();
  if (mount::mountCount(folder) == 0) {
    err << "pralodrive: " << folder.string() << " is not mounted.\n";
    return 1;
  }
  try {
    mount::unmountFolder(folder, mount::isStaleMount(folder));
  } catch (const mount::MountError& error) {
    err << "pralodrive: " << error.what() << " Is a program still using it?\n";
    return 1;
  }
  const auto state = replica::ReplicaOptions::defaults().stateDirectory;
  if (!mount::MountLock::waitUntilFree(state, std::chrono::minutes(1))) {
    err << "pralodrive: unmounted " << folder.string()
        << ", but its process is still saving the queue.\n";
    return 1;
  }
  out << "Unmounted " << folder.string() << ".\n";
  return 0;
}

int statusOfPaths(const MountCommand& command, bool json, std::ostream& out, std::ostream& err) {
  int status = 0;
  for (const auto& path : command.paths) {
    const auto identifier = identifierAtPath(path);
    if (!identifier) {
      err << "pralodrive: " << path << " is not an item of a mounted drive.\n";
      status = 1;
      continue;
    }
    const auto field = [&](const char* name) {
      return xattrAt(path, std::string(mount::kXattrPrefix) + name).value_or("");
    };
    if (json) {
      out << nlohmann::ordered_json({{"path", path},
                                     {"identifier", *identifier},
                                     {"state", field("state")},
                                     {"badges", field("badges")},
                                     {"webLink", field("weblink")}})
                 .dump()
          << "\n";
    } else {
      out << path << "\n  identifier  " << *identifier << "\n  state       " << field("state")
          << "\n  badges      " << field("badges") << "\n  web link    " << field("weblink")
          << "\n";
    }
  }
  return status;
}

}  // namespace

std::optional<std::uint64_t> parseSize(const std::string& text) {
  std::size_t used = 0;
  double number = 0;
  try {
    number = std::stod(text, &used);
  } catch (const std::exception&) {
    return std::nullopt;
  }
  const auto unit = text.substr(used);
  const std::string units = "KMGT";
  double scale = 1;
  if (!unit.empty()) {
    const auto at = units.find(static_cast<char>(std::toupper(unit.front())));
    const auto rest = unit.substr(1);
    if (at == std::string::npos || !(rest.empty() || rest == "B" || rest == "iB")) {
      return std::nullopt;
    }
    scale = std::pow(1024.0, static_cast<double>(at + 1));
  }
  if (!(number >= 0) || number * scale > 1e18) return std::nullopt;
  return static_cast<std::uint64_t>(number * scale);
}

std::optional<std::string> identifierAtPath(const std::string& path) {
  std::error_code error;
  if (!std::filesystem::exists(path, error)) return std::nullopt;
  return xattrAt(path, std::string(mount::kXattrPrefix) + "id");
}

Outcome performAction(PlatformHost& host, const std::string& action,
                      const std::vector<std::string>& items) {
  const auto identifier = mount::actionIdentifier(action).value_or(action);
  std::vector<std::string> identifiers;
  bool allMounted = !items.empty();
  for (const auto& item : items) {
    const auto found = identifierAtPath(item);
    allMounted = allMounted && found;
    identifiers.push_back(found.value_or(item));
  }
  if (!allMounted) return host.action(identifier, identifiers);
  for (const auto& path : items) {
    if (::setxattr(path.c_str(), mount::kActionXattr, identifier.data(), identifier.size(), 0) !=
        0) {
      const int code = errno;
      return {{{"error",
                {{"description", path + ": " + std::strerror(code)},
                 {"domain", "NSPOSIXErrorDomain"},
                 {"code", code}}}},
              1};
    }
  }
  return {Json::object(), 0};
}

void addMountCommands(CLI::App& app, MountCommand& command) {
  auto* mount = app.add_subcommand("mount", "mount the drive at a folder");
  mount->add_option("DIR", command.folder, "an existing folder")->required();
  mount->add_option("--poll", command.pollSeconds, "look for changes on the service this often")
      ->option_text("SECONDS")
      ->check(CLI::PositiveNumber);
  mount->add_option("--cache-limit", command.cacheLimit, "the content store's size (10G, 500M)")
      ->option_text("SIZE")
      ->check([](const std::string& text) {
        return parseSize(text) ? std::string() : "not a size: " + text;
      });
  mount->add_flag("--allow-other", command.allowOther, "let other users in");
  mount->add_flag("--foreground", command.foreground, "stay attached to the terminal");
  mount->callback([&command] { command.which = MountCommand::Which::mount; });

  auto* unmount = app.add_subcommand("unmount", "unmount the drive, saving its queue");
  unmount->add_option("DIR", command.folder, "the mounted folder")->required();
  unmount->callback([&command] { command.which = MountCommand::Which::unmount; });

  if (auto* status = app.get_subcommand("status")) {
    status->add_option("PATH", command.paths, "items of a mounted drive");
  }
}

int runMountCommand(const MountCommand& command, bool json, std::ostream& out, std::ostream& err) {
  switch (command.which) {
    case MountCommand::Which::mount:
      return runMountHost(command, out, err);
    case MountCommand::Which::unmount:
      return unmountCommand(command, out, err);
    case MountCommand::Which::none:
      break;
  }
  return statusOfPaths(command, json, out, err);
}

}  // namespace drive::cli
