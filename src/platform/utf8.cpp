#include "platform/utf8.h"

#include <simdjson.h>

namespace fp {
namespace {

bool isContinuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

}  // namespace

bool isValidUTF8(std::string_view text) {
  return simdjson::validate_utf8(text.data(), text.size());
}

std::size_t characterStartAtOrBefore(std::string_view text, std::size_t index) {
  if (index >= text.size()) return text.size();
  while (index > 0 && isContinuation(text[index]))
    --index;
  return index;
}

std::string prefixOfCharacters(std::string_view text, std::size_t characters) {
  std::size_t end = 0;
  for (std::size_t counted = 0; end < text.size(); ++counted) {
    if (counted == characters) return std::string(text.substr(0, end)) + "\u2026";
    ++end;
    while (end < text.size() && isContinuation(text[end]))
      ++end;
  }
  return std::string(text);
}

}  // namespace fp
