#pragma once

#include <string>
#include <string_view>

namespace drive::reference {

// Bytes as lower-case hex digits.
std::string lowerHex(std::string_view bytes);

// The prefix followed by `bytes` random bytes in lower-case hex; safe in a URL path as is.
std::string randomId(std::string_view prefix, int bytes = 12);

}  // namespace drive::reference
