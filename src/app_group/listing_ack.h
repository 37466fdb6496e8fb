#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace drive {

// "drive-listing-ack.json": the companion app sets a revision and token; the extension adds
// the containers it has listed at exactly that revision and token. No lock; missing or
// unreadable reads as revision 0, empty token, no containers.
namespace DriveListingAck {

struct Record {
  std::int64_t revision = 0;
  std::string token;
  std::vector<std::string> containers;  // in the order acknowledged, no duplicates added
  bool operator==(const Record&) const = default;
};

Record read();
void write(const Record& record);
// Adds `container` when the file still holds `revision` and `token`, the values read when the
// enumeration began; a newer acknowledgement is left alone.
void acknowledge(const std::string& container, std::int64_t revision, const std::string& token);

void to_json(nlohmann::json& json, const Record& record);
void from_json(const nlohmann::json& json, Record& record);

}  // namespace DriveListingAck
}  // namespace drive
