#include "reference/json_file.h"

#include "shared/atomic_file.h"

namespace drive::reference {

nlohmann::json readJSONObject(const std::filesystem::path& file) {
  const auto text = readWholeFile(file);
  auto value = text ? nlohmann::json::parse(*text, nullptr, false) : nlohmann::json();
  return value.is_object() ? value : nlohmann::json::object();
}

bool writeJSONFile(const std::filesystem::path& file, const nlohmann::ordered_json& value) {
  std::error_code ignored;
  std::filesystem::create_directories(file.parent_path(), ignored);
  return writeFileAtomically(file, value.dump());
}

}  // namespace drive::reference
