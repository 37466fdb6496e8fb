#include "reference/base64.h"

#include <openssl/evp.h>

#include <vector>

namespace drive::reference {

std::string base64(std::string_view bytes) {
  std::vector<unsigned char> encoded(4 * ((bytes.size() + 2) / 3) + 1);
  const int length =
      EVP_EncodeBlock(encoded.data(), reinterpret_cast<const unsigned char*>(bytes.data()),
                      static_cast<int>(bytes.size()));
  return std::string(reinterpret_cast<const char*>(encoded.data()),
                     static_cast<std::size_t>(length));
}

std::string base64url(std::string_view bytes) {
  std::string text = base64(bytes);
  while (!text.empty() && text.back() == '=')
    text.pop_back();
  for (char& c : text) {
    if (c == '+') c = '-';
    if (c == '/') c = '_';
  }
  return text;
}

std::optional<std::string> decodeBase64(std::string_view text) {
  if (text.size() % 4 != 0) return std::nullopt;
  std::vector<unsigned char> decoded(text.size() / 4 * 3 + 1);
  const int length =
      EVP_DecodeBlock(decoded.data(), reinterpret_cast<const unsigned char*>(text.data()),
                      static_cast<int>(text.size()));
  if (length < 0) return std::nullopt;
  // EVP_DecodeBlock counts the padding as zero bytes.
  const auto padding = text.size() - (text.find_last_not_of('=') + 1);
  if (padding > 2) return std::nullopt;
  return std::string(reinterpret_cast<const char*>(decoded.data()),
                     static_cast<std::size_t>(length) - padding);
}

}  // namespace drive::reference
