#include "changes/content_digest.h"

#include "model/name_rules.h"
#include "platform/sha256.h"

namespace drive {

std::string fileDigest(const std::filesystem::path& file) {
  const auto digest = fp::SHA256::hashFile(file);
  return digest ? fp::lowerHex(*digest) : std::string();
}

bool contentMatches(const StorageNode& node, const std::filesystem::path& file) {
  const auto hash = lowercasedName(node.contentHash.value_or(""));
  if (hash.empty()) return false;
  std::error_code error;
  const auto size = std::filesystem::file_size(file, error);
  if (node.byteSize && !error && std::uintmax_t(*node.byteSize) != size) return false;
  return fileDigest(file) == hash;
}

}  // namespace drive
