#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace fp {

// Standard Base64 with padding, as the platform's data encoding uses it.
namespace Base64 {
std::string encode(std::string_view bytes);
// None when `text` is not padded Base64.
std::optional<std::string> decode(std::string_view text);
// Base64url without padding, as the parts of a dotted token are written.
std::string encodeURL(std::string_view bytes);
}  // namespace Base64

}  // namespace fp
