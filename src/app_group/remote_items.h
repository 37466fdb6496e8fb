#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace drive {

// "drive-remote-items.json": item identifiers that the companion app saw change or go on the
// service, for the working set to publish. No lock; missing or unreadable reads as empty.
namespace DriveRemoteItems {

struct Payload {
  std::vector<std::string> updates;
  std::vector<std::string> deletes;
  bool operator==(const Payload&) const = default;
};

Payload read();
void write(const Payload& payload);
// Removes every occurrence of the published identifiers from both lists and writes the rest
// back (nothing is written when `published` is empty). True while entries remain.
bool removePublished(const std::vector<std::string>& published);

void to_json(nlohmann::json& json, const Payload& payload);
void from_json(const nlohmann::json& json, Payload& payload);

}  // namespace DriveRemoteItems
}  // namespace drive
