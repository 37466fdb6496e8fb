#include "platform/base64.h"

#include <openssl/evp.h>

#include <cctype>

namespace fp {

std::string base64Encode(std::string_view bytes) {
  std::string text(4 * ((bytes.size() + 2) / 3), '\0');
  const int written =
      EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                      reinterpret_cast<const unsigned char*>(bytes.data()), int(bytes.size()));
  text.resize(written < 0 ? 0 : std::size_t(written));
  return text;
}

std::optional<std::string> base64Decode(std::string_view text) {
  if (text.size() % 4 != 0) return std::nullopt;
  for (std::size_t index = 0; index < text.size(); ++index) {
    const char c = text[index];
    const bool padding = c == '=' && index + 2 >= text.size() &&
                         text.find_first_not_of('=', index) == std::string_view::npos;
    if (!(std::isalnum(static_cast<unsigned char>(c)) || c == '+' || c == '/' || padding)) {
      return std::nullopt;
    }
  }
  std::string bytes(3 * (text.size() / 4), '\0');
  const int decoded =
      EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()),
                      reinterpret_cast<const unsigned char*>(text.data()), int(text.size()));
  if (decoded < 0) return std::nullopt;
  // EVP_DecodeBlock counts the padding as zero bytes.
  std::size_t length = std::size_t(decoded);
  if (text.ends_with("==")) {
    length -= 2;
  } else if (text.ends_with("=")) {
    length -= 1;
  }
  bytes.resize(length);
  return bytes;
}

}  // namespace fp
