#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace drive {

// "drive-remote-refresh.json": written by the companion app when containers changed on the
// service. No lock; a missing or unreadable file reads as generation 0, nothing pending.
namespace DriveRemoteRefresh {

struct Payload {
  std::int64_t generation = 0;
  std::vector<std::string> pending;  // container identifiers to be listed again
  bool operator==(const Payload&) const = default;
};

Payload read();
void write(const Payload& payload);
// Removes every occurrence of `container` from `pending`; writes only when one was removed and
// never over a file it could not read.
void clearPending(const std::string& container);

void to_json(nlohmann::json& json, const Payload& payload);
void from_json(const nlohmann::json& json, Payload& payload);

}  // namespace DriveRemoteRefresh
}  // namespace drive
