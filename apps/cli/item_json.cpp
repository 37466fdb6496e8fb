#include "cli/item_json.h"

#include <cctype>

#include "platform/sha256.h"

namespace drive::cli {
namespace {

std::string text(const fp::Bytes& bytes) {
  return std::string(bytes.begin(), bytes.end());
}

}  // namespace

Json itemJson(const fp::Item& item) {
  Json json = Json::object();
  // Appended in place: assigning by key searches every key so far, for each of 16 keys, and
  // a listing does this 100,000 times.
  auto& fields = json.get_ref<Json::object_t&>();
  fields.reserve(16);
  const auto add = [&fields](const char* key, Json value) {
    fields.emplace_back(key, std::move(value));
  };
  add("itemIdentifier", item.itemIdentifier());
  add("parentItemIdentifier", item.parentItemIdentifier());
  add("filename", item.filename());
  add("contentType", item.contentType().identifier());
  const auto version = item.itemVersion();
  add("contentVersion", text(version.contentVersion));
  add("metadataVersion", text(version.metadataVersion));
  add("capabilities", item.capabilities());
  if (auto size = item.documentSize()) add("documentSize", *size);
  if (auto date = item.contentModificationDate()) {
    add("contentModificationDate", date->time_since_epoch().count());
  }
  if (auto date = item.creationDate()) add("creationDate", date->time_since_epoch().count());
  add("isDownloaded", item.isDownloaded());
  add("isMostRecentVersionDownloaded", item.isMostRecentVersionDownloaded());
  add("isUploaded", item.isUploaded());
  add("decorations", item.decorations());
  add("userInfo", item.userInfo());
  add("contentPolicy", static_cast<int>(item.contentPolicy()));
  return json;
}

Json errorJson(const std::string& domain, long code, const std::string& description) {
  Json error;
  error["domain"] = domain;
  error["code"] = code;
  error["description"] = description;
  return Json{{"error", error}};
}

Json errorJson(const fp::PlatformError& error) {
  return errorJson(error.domain(), error.code(), error.localizedDescription());
}

std::string hexString(const fp::Bytes& bytes) {
  return fp::lowerHex(bytes);
}

std::optional<fp::Bytes> bytesFromHex(const std::string& hex) {
  if (hex.size() % 2 != 0) return std::nullopt;
  fp::Bytes bytes;
  for (std::size_t index = 0; index < hex.size(); index += 2) {
    if (!std::isxdigit(static_cast<unsigned char>(hex[index])) ||
        !std::isxdigit(static_cast<unsigned char>(hex[index + 1]))) {
      return std::nullopt;
    }
    bytes.push_back(static_cast<std::uint8_t>(std::stoi(hex.substr(index, 2), nullptr, 16)));
  }
  return bytes;
}

std::string dumpLine(const Json& json) {
  return json.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

}  // namespace drive::cli
