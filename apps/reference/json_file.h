#pragma once

#include <filesystem>
#include <nlohmann/json.hpp>

namespace drive::reference {

// The object a shared file holds; an empty object when it is missing or holds anything else.
nlohmann::json readJSONObject(const std::filesystem::path& file);

// Writes compact JSON over the file in one atomic replacement, creating its directory first.
bool writeJSONFile(const std::filesystem::path& file, const nlohmann::ordered_json& value);

}  // namespace drive::reference
