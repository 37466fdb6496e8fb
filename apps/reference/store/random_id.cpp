#include "reference/store/random_id.h"

#include <openssl/rand.h>

#include <stdexcept>
#include <vector>

namespace drive::reference {

std::string lowerHex(std::string_view bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  text.reserve(bytes.size() * 2);
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0x0f];
  }
  return text;
}

std::string randomId(std::string_view prefix, int bytes) {
  std::vector<unsigned char> random(static_cast<std::size_t>(bytes));
  if (RAND_bytes(random.data(), bytes) != 1) throw std::runtime_error("no random bytes");
  return std::string(prefix) +
         lowerHex(std::string_view(reinterpret_cast<const char*>(random.data()), random.size()));
}

}  // namespace drive::reference
