#include "platform/environment.h"

#include <cstdlib>
#include <mutex>
#include <sstream>
#include <thread>

#include "platform/thread_annotations.h"

namespace fp {
namespace {

constexpr const char* kAppGroup = "group.eu.vantrel.drive";

std::optional<std::filesystem::path> envPath(const char* name) {
  const char* value = std::getenv(name);
  if (value == nullptr || *value == '\0') return std::nullopt;
  return std::filesystem::path(value);
}

std::filesystem::path defaultDataHome(const std::filesystem::path& home) {
  if (auto dataHome = envPath("XDG_DATA_HOME")) return *dataHome;
  return home.empty() ? std::filesystem::path() : home / ".local" / "share";
}

std::optional<std::filesystem::path> defaultContainer(const std::filesystem::path& dataHome) {
  if (auto explicitDir = envPath("PRALODRIVE_CONTAINER")) return explicitDir;
  if (dataHome.empty()) return std::nullopt;
  return dataHome / "pralodrive" / kAppGroup;
}

Mutex environmentMutex;
std::shared_ptr<const Environment> installed GUARDED_BY(environmentMutex);

}  // namespace

std::chrono::system_clock::time_point SystemClock::now() const {
  return std::chrono::system_clock::now();
}

void SystemClock::sleepFor(std::chrono::nanoseconds duration) {
  std::this_thread::sleep_for(duration);
}

bool PlatformVersion::isAtLeast(int otherMajor, int otherMinor, int otherPatch) const {
  if (major != otherMajor) return major > otherMajor;
  if (minor != otherMinor) return minor > otherMinor;
  return patch >= otherPatch;
}

std::optional<PlatformVersion> PlatformVersion::parse(const std::string& text) {
  PlatformVersion version;
  std::istringstream in(text);
  char dot = 0;
  if (!(in >> version.major >> dot) || dot != '.' || !(in >> version.minor)) return std::nullopt;
  if (in.peek() == '.' && !(in >> dot >> version.patch)) return std::nullopt;
  if (!in.eof() && in.peek() != EOF) return std::nullopt;
  if (version.major < 0 || version.minor < 0 || version.patch < 0) return std::nullopt;
  return version;
}

Environment Environment::defaults() {
  Environment environment;
  environment.apiBaseURL = "https://api.vantrel.eu";
  environment.webBaseURL = "https://app.vantrel.eu";
  environment.companionBaseURL = "http://127.0.0.1:17892";
  environment.homeDirectory = envPath("HOME").value_or(std::filesystem::path());
  environment.dataHome = defaultDataHome(environment.homeDirectory);
  environment.appGroupContainer = defaultContainer(environment.dataHome);
  environment.configHome = envPath("XDG_CONFIG_HOME");
  std::error_code error;
  environment.temporaryDirectory = std::filesystem::temp_directory_path(error);
  if (error) environment.temporaryDirectory = "/tmp";
  environment.clock = std::make_shared<SystemClock>();
  return environment;
}

std::shared_ptr<const Environment> Environment::current() {
  MutexLock lock(environmentMutex);
  if (!installed) installed = std::make_shared<const Environment>(defaults());
  return installed;
}

void Environment::install(Environment environment) {
  MutexLock lock(environmentMutex);
  installed = std::make_shared<const Environment>(std::move(environment));
}

}  // namespace fp
