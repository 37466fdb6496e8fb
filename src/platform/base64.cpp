#include "platform/base64.h"

#include <openssl/evp.h>

#include <vector>

namespace fp {
namespace {

const unsigned char* bytesOf(std::string_view text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

}  // namespace

std::string Base64::encode(std::string_view bytes) {
  std::vector<unsigned char> out(4 * ((bytes.size() + 2) / 3) + 1);
  const int length = EVP_EncodeBlock(out.data(), bytesOf(bytes), static_cast<int>(bytes.size()));
  return std::string(out.begin(), out.begin() + length);
}

std::optional<std::string> Base64::decode(std::string_view text) {
  if (text.empty()) return std::string();
  if (text.size() % 4 != 0) return std::nullopt;
  std::vector<unsigned char> out(text.size() / 4 * 3 + 1);
  const int length = EVP_DecodeBlock(out.data(), bytesOf(text), static_cast<int>(text.size()));
  if (length < 0) return std::nullopt;
  // The block decoder counts padding as zero bytes.
  const auto padding = text.size() - text.find_last_not_of('=') - 1;
  if (padding > 2 || static_cast<std::size_t>(length) < padding) return std::nullopt;
  return std::string(out.begin(), out.begin() + length - static_cast<long>(padding));
}

std::string Base64::encodeURL(std::string_view bytes) {
  std::string text = encode(bytes);
  while (!text.empty() && text.back() == '=')
    text.pop_back();
  for (char& c : text) {
    if (c == '+') c = '-';
    if (c == '/') c = '_';
  }
  return text;
}

}  // namespace fp
