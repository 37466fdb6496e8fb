#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace fp {

// Standard Base64 with padding, as the platform's data encoding.
std::string base64Encode(std::string_view bytes);
// Nullopt for anything that is not well-formed standard Base64.
std::optional<std::string> base64Decode(std::string_view text);

}  // namespace fp
