#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace drive::reference {

std::string base64(std::string_view bytes);
// Base64url without padding, as the parts of a dotted token are written.
std::string base64url(std::string_view bytes);
// Standard Base64 with padding; none for anything else.
std::optional<std::string> decodeBase64(std::string_view text);

}  // namespace drive::reference
