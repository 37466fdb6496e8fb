#include "app_group/remote_items.h"

#include <algorithm>

#include "app_group/shared_file.h"

namespace drive::DriveRemoteItems {
namespace {

constexpr const char* kFile = "drive-remote-items.json";

bool hasEntries(const Payload& payload) {
  return !payload.updates.empty() || !payload.deletes.empty();
}

void removeAll(std::vector<std::string>& list, const std::vector<std::string>& published) {
  std::erase_if(list, [&](const std::string& entry) {
    return std::find(published.begin(), published.end(), entry) != published.end();
  });
}

}  // namespace

Payload read() {
  return readSharedFile<Payload>(kFile).value_or(Payload{});
}

void write(const Payload& payload) {
  // Entries left in the file are published again, which changes nothing.
  (void)writeSharedFile(kFile, payload);
}

bool removePublished(const std::vector<std::string>& published) {
  auto payload = read();
  if (published.empty()) return hasEntries(payload);
  removeAll(payload.updates, published);
  removeAll(payload.deletes, published);
  write(payload);
  return hasEntries(payload);
}

void to_json(nlohmann::json& json, const Payload& payload) {
  json = {{"updates", payload.updates}, {"deletes", payload.deletes}};
}

void from_json(const nlohmann::json& json, Payload& payload) {
  json.at("updates").get_to(payload.updates);
  json.at("deletes").get_to(payload.deletes);
}

}  // namespace drive::DriveRemoteItems
