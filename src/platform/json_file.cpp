#include "platform/json_file.h"

#include "platform/atomic_file.h"
#include "platform/private_directories.h"

namespace fp {

std::optional<nlohmann::json> parseJSON(std::string_view text) {
  auto value = nlohmann::json::parse(text, nullptr, /*allow_exceptions=*/false);
  if (value.is_discarded()) return std::nullopt;
  return value;
}

std::optional<nlohmann::json> readJSONFile(const std::filesystem::path& path) {
  const auto bytes = readWholeFile(path);
  if (!bytes) return std::nullopt;
  return parseJSON(*bytes);
}

bool writeJSONFile(const std::filesystem::path& path, const nlohmann::json& value, mode_t mode) {
  createPrivateDirectories(path.parent_path());
  const auto text = value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
  return writeFileAtomically(path, text, mode);
}

}  // namespace fp
