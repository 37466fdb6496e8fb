#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/item.h"

namespace fp {

// Stand-in for CryptoKit's SHA-256, on OpenSSL.
class SHA256 {
 public:
  SHA256();
  ~SHA256();
  SHA256(const SHA256&) = delete;
  SHA256& operator=(const SHA256&) = delete;

  void update(std::string_view bytes);
  // The 32-byte digest; the hasher is spent afterwards.
  Bytes finalize();

  static Bytes hash(std::string_view bytes);
  // Reads the file in chunks of `chunkSize`; nullopt when it cannot be read.
  static std::optional<Bytes> hashFile(const std::filesystem::path& file,
                                       std::size_t chunkSize = 1 << 20);

 private:
  struct Context;
  std::unique_ptr<Context> context_;
};

// Lower-case hexadecimal text of bytes.
std::string lowerHex(const Bytes& bytes);

}  // namespace fp
