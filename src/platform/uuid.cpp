#include "platform/uuid.h"

#include <openssl/rand.h>

#include <array>
#include <cstdio>
#include <random>

namespace fp {

std::string makeUUIDString() {
  std::array<unsigned char, 16> bytes{};
  if (RAND_bytes(bytes.data(), int(bytes.size())) != 1) {
    std::random_device device;
    for (auto& byte : bytes)
      byte = static_cast<unsigned char>(device());
  }
  bytes[6] = (bytes[6] & 0x0f) | 0x40;  // version 4
  bytes[8] = (bytes[8] & 0x3f) | 0x80;  // RFC 4122 variant
  char text[37];
  std::snprintf(text, sizeof text,
                "%02X%02X%02X%02X-%02X%02X-%02X%02X-%02X%02X-%02X%02X%02X%02X%02X%02X", bytes[0],
                bytes[1], bytes[2], bytes[3], bytes[4], bytes[5], bytes[6], bytes[7], bytes[8],
                bytes[9], bytes[10], bytes[11], bytes[12], bytes[13], bytes[14], bytes[15]);
  return text;
}

}  // namespace fp
