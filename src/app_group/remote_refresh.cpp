#include "app_group/remote_refresh.h"

#include "app_group/shared_file.h"

namespace drive::DriveRemoteRefresh {
namespace {

constexpr const char* kFile = "drive-remote-refresh.json";

}  // namespace

Payload read() {
  return readSharedFile<Payload>(kFile).value_or(Payload{});
}

void write(const Payload& payload) {
  // A container left pending is only listed once more.
  (void)writeSharedFile(kFile, payload);
}

void clearPending(const std::string& container) {
  auto payload = readSharedFile<Payload>(kFile);
  if (!payload) return;
  if (std::erase(payload->pending, container) > 0) write(*payload);
}

void to_json(nlohmann::json& json, const Payload& payload) {
  json = {{"generation", payload.generation}, {"pending", payload.pending}};
}

void from_json(const nlohmann::json& json, Payload& payload) {
  payload.generation = integerAt(json, "generation");
  json.at("pending").get_to(payload.pending);
}

}  // namespace drive::DriveRemoteRefresh
