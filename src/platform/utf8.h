#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace fp {

// True when `text` is well-formed UTF-8 (no overlong forms, surrogates or stray bytes).
bool isValidUTF8(std::string_view text);

// The largest index up to `index` that does not fall inside a UTF-8 sequence.
std::size_t characterStartAtOrBefore(std::string_view text, std::size_t index);

// `text` with at most `characters` characters; a longer text is cut and ends with "…".
std::string prefixOfCharacters(std::string_view text, std::size_t characters);

}  // namespace fp
