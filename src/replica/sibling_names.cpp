#include "replica/sibling_names.h"

#include <ctime>
#include <utility>

namespace drive::replica {
namespace {

// The stem and the extension with its dot; a leading dot starts a name, not an extension.
std::pair<std::string, std::string> split(const std::string& name) {
  const auto dot = name.rfind('.');
  if (dot == std::string::npos || dot == 0) return {name, ""};
  return {name.substr(0, dot), name.substr(dot)};
}

std::string withSuffix(const std::string& name, const std::string& suffix) {
  const auto [stem, extension] = split(name);
  return stem + suffix + extension;
}

}  // namespace

std::string notSyncedName(const std::string& name) {
  return withSuffix(name, " (not synced)");
}

std::string conflictedCopyName(const std::string& name, std::chrono::system_clock::time_point at) {
  const std::time_t seconds = std::chrono::system_clock::to_time_t(at);
  std::tm local{};
  localtime_r(&seconds, &local);
  char stamp[32];
  std::strftime(stamp, sizeof stamp, "%Y-%m-%d %H%M%S", &local);
  return withSuffix(name, std::string(" (conflicted copy ") + stamp + ")");
}

std::string numberedName(const std::string& name, int n) {
  return withSuffix(name, " " + std::to_string(n));
}

}  // namespace drive::replica
