#pragma once

#include <sys/types.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>

namespace fp {

// The JSON value of `text`; none when it is not JSON.
std::optional<nlohmann::json> parseJSON(std::string_view text);

// The JSON value held by `path`; none when the file is missing, unreadable or not JSON.
std::optional<nlohmann::json> readJSONFile(const std::filesystem::path& path);

// Writes `value` compactly over `path` in one atomic replacement, creating the directory
// (with its parents) first. Text that is not UTF-8 is written with replacement characters.
// False on any failure; the file then keeps its previous content.
[[nodiscard]] bool writeJSONFile(const std::filesystem::path& path, const nlohmann::json& value,
                                 mode_t mode = 0644);

}  // namespace fp
