#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace drive {

// "drive-sync-activity.json": the transfers in progress and those that ended recently, for the
// companion app to show. Written here under one process-wide lock, read by the companion app
// only; the atomic replacement keeps every version it sees whole.
namespace DriveSyncActivity {

struct Item {
  std::string id;    // bare node id
  std::string item;  // "node:" + id
  std::string name;
  std::string direction;  // "download" or "upload"
  bool ok = true;
  double at = 0;  // seconds since 1970 when last written
  bool operator==(const Item&) const = default;
};

struct File {
  std::vector<Item> active;  // newest first
  std::vector<Item> recent;  // newest first, one per node id
  bool operator==(const File&) const = default;
};

enum class Direction { download, upload };

// What the file shows for a node's name: line feeds as blanks, trimmed.
std::string displayName(const std::string& name);

// Callers pass a non-empty node id and name.
void begin(const std::string& nodeId, const std::string& name, Direction direction);
// Called with the values given to begin once the transfer is over.
void end(const std::string& nodeId, const std::string& name, Direction direction, bool ok);

void to_json(nlohmann::json& json, const Item& item);
void from_json(const nlohmann::json& json, Item& item);
void to_json(nlohmann::json& json, const File& file);
void from_json(const nlohmann::json& json, File& file);

}  // namespace DriveSyncActivity
}  // namespace drive
