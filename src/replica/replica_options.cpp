#include "replica/replica_options.h"

#include <cstdlib>

#include "platform/environment.h"

namespace drive::replica {
namespace {

std::filesystem::path xdgDirectory(const char* variable, const char* fallback) {
  const char* value = std::getenv(variable);
  if (value && *value == '/') return std::filesystem::path(value) / "pralodrive";
  return fp::Environment::current()->homeDirectory / fallback / "pralodrive";
}

}  // namespace

ReplicaOptions ReplicaOptions::defaults() {
  ReplicaOptions options;
  options.stateDirectory = xdgDirectory("XDG_STATE_HOME", ".local/state");
  options.cacheDirectory = xdgDirectory("XDG_CACHE_HOME", ".cache");
  options.signalDirectory = fp::Environment::current()->appGroupContainer;
  return options;
}

}  // namespace drive::replica
