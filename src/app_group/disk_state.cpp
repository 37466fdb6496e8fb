#include "app_group/disk_state.h"

#include <sys/stat.h>

#include <cmath>
#include <mutex>
#include <utility>

#include "app_group/shared_file.h"
#include "platform/app_group_container.h"
#include "platform/file_lock.h"
#include "platform/preferences.h"
#include "platform/thread_annotations.h"

namespace drive::DriveDiskState {
namespace {

constexpr const char* kStateFile = "drive-local-state.json";
constexpr const char* kLockFile = "drive-local-state.lock";
constexpr const char* kMissingStamp = "missing";

struct Cache {
  fp::Mutex lock;
  bool loaded GUARDED_BY(lock) = false;
  FileState state GUARDED_BY(lock);
  std::string stamp GUARDED_BY(lock);
};

Cache& cache() {
  static Cache instance;
  return instance;
}

void remember(Cache& cache, FileState state, std::string stamp) REQUIRES(cache.lock) {
  cache.state = std::move(state);
  cache.stamp = std::move(stamp);
  cache.loaded = true;
}

template <class Work>
auto underFileLock(Work work) {
  fp::createAppGroupContainer();
  fp::FileLock lock(fp::appGroupContainerURL() / kLockFile);
  return work();
}

// Caller holds the flock. A damaged file reads as the defaults and stays as it is.
FileState readStateFile() {
  std::error_code error;
  if (!std::filesystem::exists(fp::appGroupContainerURL() / kStateFile, error)) {
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
  auto ids = fp::stringArrayValue(fp::Preferences::copyAppValue(key, fp::kAppGroupIdentifier));
  if (!ids) ids = fp::UserDefaults::standard().stringArrayForKey(key);
  if (!ids) return {};
  return {ids->begin(), ids->end()};
}

}  // namespace

FileState current() {
  auto& cached = cache();
  fp::MutexLock guard(cached.lock);
  const auto stamp = fileStamp();
  if (!cached.loaded || stamp == kMissingStamp || stamp != cached.stamp)
    remember(cached, load(), fileStamp());
  return cached.state;
}

void update(const Mutation& mutation) {
  auto& cached = cache();
  fp::MutexLock guard(cached.lock);
  // Stamped under the flock: a later write by another process must not match our state.
  auto [state, stamp] = underFileLock([&] {
    auto state = readStateFile();
    // A failed save must not leave the cache ahead of the disk.
    if (mutation(state) && !save(state)) state = readStateFile();
    return std::pair(std::move(state), fileStamp());
  });
  remember(cached, std::move(state), std::move(stamp));
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
      legacyRevision(fp::Preferences::copyAppValue("drive.itemRevision", fp::kAppGroupIdentifier));
  state.pinned = legacyIds("drive.keepOfflineNodeIds");
  state.materialized = legacyIds("drive.materializedNodeIds");
  return state;
}

std::string fileStamp() {
  struct stat info {};
  if (::stat((fp::appGroupContainerURL() / kStateFile).c_str(), &info) != 0) return kMissingStamp;
  return std::to_string(info.st_mtim.tv_sec) + "." + std::to_string(info.st_mtim.tv_nsec) + "." +
         std::to_string(info.st_size);
}

void resetCacheForTesting() {
  auto& cached = cache();
  fp::MutexLock guard(cached.lock);
  cached.loaded = false;
  cached.state = {};
  cached.stamp.clear();
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

void recordMaterialized(const std::string& nodeId) {
  update([&](FileState& state) { return state.materialized.insert(nodeId).second; });
}

}  // namespace drive::DriveDiskState
