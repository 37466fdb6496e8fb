#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace drive {

struct StorageNamespace {
  std::string id;
  std::string kind;
  std::string title;
  std::optional<std::string> userId;
  std::optional<std::string> organizationId;
  std::optional<std::string> workspaceId;
  std::string rootNodeId;
  bool operator==(const StorageNamespace&) const = default;
};

struct StorageNode {
  std::string id;
  std::string namespaceId;
  std::optional<std::string> parentId;
  std::string name;
  std::string kind;
  std::string appKind;
  std::optional<std::string> mime;
  std::optional<std::string> assetId;
  std::optional<std::int64_t> groupId;
  std::optional<bool> inheritGrants;
  std::optional<std::int64_t> byteSize;
  std::optional<std::string> contentHash;
  std::optional<bool> cloudOnly;
  std::optional<std::string> fileExtension;  // travels as "extension"
  std::optional<std::string> role;
  std::optional<bool> isPersonal;
  std::optional<std::string> trashedAt;
  std::optional<std::string> createdAt;
  std::optional<std::string> updatedAt;
  bool operator==(const StorageNode&) const = default;
};

struct DriveListing {
  std::vector<StorageNamespace> namespaces;
  std::optional<std::vector<StorageNode>> roots;
  bool operator==(const DriveListing&) const = default;
};

struct NodeChildren {
  std::optional<StorageNode> parent;
  std::vector<StorageNode> children;
  bool operator==(const NodeChildren&) const = default;
};

struct IssuedAppToken {
  std::string token;
  std::string app;
  std::string id;
  std::string expiresAt;
  std::optional<std::string> pairingExpiresAt;
  bool operator==(const IssuedAppToken&) const = default;
};

struct DriveSession {
  std::string token;
  std::string tokenId;
  std::string email;
  std::string expiresAt;
  std::string pairingExpiresAt;
  bool operator==(const DriveSession&) const = default;
};

struct APIErrorBody {
  std::optional<std::string> message;
  bool operator==(const APIErrorBody&) const = default;
};

// A body that is not the record asked for: bad JSON, a missing or mistyped key.
class WireDecodingError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Strict decoding under the wire rules; throws WireDecodingError. Defined for the records
// above.
template <typename Record>
Record decodeRecord(std::string_view json);

// Encoding writes the keys in their fixed order and leaves absent optionals out.
nlohmann::ordered_json encodeRecord(const StorageNamespace& record);
nlohmann::ordered_json encodeRecord(const StorageNode& record);
nlohmann::ordered_json encodeRecord(const DriveListing& record);
nlohmann::ordered_json encodeRecord(const NodeChildren& record);
nlohmann::ordered_json encodeRecord(const IssuedAppToken& record);
nlohmann::ordered_json encodeRecord(const DriveSession& record);
nlohmann::ordered_json encodeRecord(const APIErrorBody& record);

}  // namespace drive
