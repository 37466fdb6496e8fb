#include "shared/disk_state.h"

#include <sys/stat.h>

#include <cmath>
#include <mutex>

#include "platform/file_lock.h"
#include "platform/preferences.h"
#include "shared/app_group_container.h"
#include "shared/shared_file.h"

namespace drive::DriveDiskState {
namespace {

constexpr const char* kStateFile = "drive-local-state.json";
constexpr const char* kLockFile = "drive-local-state.lock";
constexpr const char* kMissingStamp = "missing";

struct Cache {
  std::mutex lock;
  bool loaded = false;
  FileState state;
  std::string stamp;
};

Cache& cache() {
  static Cache instance;
  return instance;
}

// Caller holds the cache lock.
void remember(FileState state) {
  cache().state = std::move(state);
  cache().stamp = fileStamp();
  cache().loaded = true;
}

template <class Work>
auto underFileLock(Work work) {
  createAppGroupContainer();
  fp::FileLock lock(appGroupContainerURL() / kLockFile);
  return work();
}

// Caller holds the flock. A damaged file reads as the defaults and stays as it is.
FileState readStateFile() {
  std::error_code error;
  if (!std::filesystem::exists(appGroupContainerURL() / kStateFile, error)) {
    auto legacy = legacyState();
    save(legacy);
    return legacy;
  }
  return readSharedFile<FileState>(kStateFile).value_or(FileState{});
}

std::int64_t legacyRevision(const std::optional<nlohmann::json>& value) {
  if (!value || !value->is_number()) return 0;
  if (value->is_number_integer()) return value->get<std::int64_t>();
  const double number = value->get<double>();
  // The integer part, as the platform's number gives it; out of range means unknown.
  return std::fabs(number) < 9.2e18 ? static_cast<std::int64_t>(number) : 0;
}

std::set<std::string> legacyIds(const std::string& key) {
  auto ids = fp::stringArrayValue(fp::Preferences::copyAppValue(key, kAppGroupIdentifier));
  if (!ids) ids = fp::UserDefaults::standard().stringArrayForKey(key);
  if (!ids) return {};
  return {ids->begin(), ids->end()};
}

}  // namespace

FileState current() {
  std::lock_guard guard(cache().lock);
  const auto stamp = fileStamp();
  if (!cache().loaded || stamp == kMissingStamp || stamp != cache().stamp) remember(load());
  return cache().state;
}

void update(const Mutation& mutation) {
  std::lock_guard guard(cache().lock);
  underFileLock([&] {
    auto state = readStateFile();
    // A failed save must not leave the cache ahead of the disk.
    if (mutation(state) && !save(state)) state = readStateFile();
    remember(std::move(state));
  });
}

FileState load() {
  return underFileLock(readStateFile);
}

bool save(const FileState& state) {
  return writeSharedFile(kStateFile, state);
}

FileState legacyState() {
  FileState state;
  state.revision =
      legacyRevision(fp::Preferences::copyAppValue("drive.itemRevision", kAppGroupIdentifier));
  state.pinned = legacyIds("drive.keepOfflineNodeIds");
  state.materialized = legacyIds("drive.materializedNodeIds");
  return state;
}

std::string fileStamp() {
  struct stat info {};
  if (::stat((appGroupContainerURL() / kStateFile).c_str(), &info) != 0) return kMissingStamp;
  return std::to_string(info.st_mtim.tv_sec) + "." + std::to_string(info.st_mtim.tv_nsec) + "." +
         std::to_string(info.st_size);
}

void resetCacheForTesting() {
  std::lock_guard guard(cache().lock);
  cache().loaded = false;
  cache().state = {};
  cache().stamp.clear();
}

void to_json(nlohmann::json& json, const FileState& state) {
  json = {
      {"revision", state.revision}, {"pinned", state.pinned}, {"materialized", state.materialized}};
}

void from_json(const nlohmann::json& json, FileState& state) {
  state.revision = integerAt(json, "revision");
  json.at("pinned").get_to(state.pinned);
  json.at("materialized").get_to(state.materialized);
}

}  // namespace drive::DriveDiskState
