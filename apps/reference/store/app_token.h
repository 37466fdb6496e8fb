#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace drive::reference {

// A three-part dotted token "header.claims.signature": Base64url JSON header and claims, and
// an HMAC-SHA256 over the first two parts, as an identity service signs its tokens.
std::string mintAppToken(const nlohmann::json& claims, std::string_view secret);

}  // namespace drive::reference
