#include "app_group/listing_ack.h"

#include <algorithm>

#include "app_group/shared_file.h"

namespace drive::DriveListingAck {
namespace {

constexpr const char* kFile = "drive-listing-ack.json";

}  // namespace

Record read() {
  return readSharedFile<Record>(kFile).value_or(Record{});
}

void write(const Record& record) {
  // A lost acknowledgement only has the container listed again.
  (void)writeSharedFile(kFile, record);
}

void acknowledge(const std::string& container, std::int64_t revision, const std::string& token) {
  auto stored = readSharedFile<Record>(kFile);
  // Without a file only revision 0 can be acknowledged, against the default record.
  if (!stored && revision != 0) return;
  auto record = stored.value_or(Record{});
  if (record.revision != revision || record.token != token) return;
  const auto& listed = record.containers;
  if (std::find(listed.begin(), listed.end(), container) == listed.end()) {
    record.containers.push_back(container);
  }
  write(record);
}

void to_json(nlohmann::json& json, const Record& record) {
  json = {
      {"revision", record.revision}, {"token", record.token}, {"containers", record.containers}};
}

void from_json(const nlohmann::json& json, Record& record) {
  record.revision = integerAt(json, "revision");
  json.at("token").get_to(record.token);
  json.at("containers").get_to(record.containers);
}

}  // namespace drive::DriveListingAck
