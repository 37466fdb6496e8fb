#pragma once

#include <cstdint>
#include <functional>
#include <nlohmann/json.hpp>
#include <set>
#include <string>

namespace drive {

// The extension's bookkeeping shared with the companion app: "drive-local-state.json" in the
// app-group container, guarded across processes by a flock on "drive-local-state.lock".
// Locks are always taken in this order: the in-process cache lock, then the flock.
namespace DriveDiskState {

struct FileState {
  std::int64_t revision = 0;
  std::set<std::string> pinned;        // node ids kept offline
  std::set<std::string> materialized;  // node ids whose content is on disk
  bool operator==(const FileState&) const = default;
};

// Changes the state it is given; true when it changed something.
using Mutation = std::function<bool(FileState&)>;

// The cached state, re-read when the file's stamp changed or the file is missing.
FileState current();
// Runs `mutation` on the state read under both locks and saves it when it reports a change.
// Takes the cache lock itself, so callers must not hold it.
void update(const Mutation& mutation);
// Adds the node to the materialised set.
void recordMaterialized(const std::string& nodeId);
// Reads the state file under the flock; creates it from the legacy keys when missing.
FileState load();
// Writes the state compactly and atomically; false on any failure.
bool save(const FileState& state);
// The state kept in the preference keys that the state file replaced.
FileState legacyState();
// "<mtime seconds>.<mtime nanoseconds>.<size>" of the state file, or "missing".
std::string fileStamp();

// Forgets the process-wide cache, as in a new process. Tests call it between cases.
void resetCacheForTesting();

void to_json(nlohmann::json& json, const FileState& state);
void from_json(const nlohmann::json& json, FileState& state);

}  // namespace DriveDiskState
}  // namespace drive
