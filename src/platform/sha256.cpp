#include "platform/sha256.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

namespace fp {

struct SHA256::Context {
  EVP_MD_CTX* digest = EVP_MD_CTX_new();
  ~Context() { EVP_MD_CTX_free(digest); }
};

SHA256::SHA256() : context_(std::make_unique<Context>()) {
  EVP_DigestInit_ex(context_->digest, EVP_sha256(), nullptr);
}

SHA256::~SHA256() = default;

void SHA256::update(std::string_view bytes) {
  EVP_DigestUpdate(context_->digest, bytes.data(), bytes.size());
}

Bytes SHA256::finalize() {
  Bytes digest(32);
  unsigned int length = 0;
  EVP_DigestFinal_ex(context_->digest, digest.data(), &length);
  digest.resize(length);
  return digest;
}

Bytes SHA256::hash(std::string_view bytes) {
  SHA256 hasher;
  hasher.update(bytes);
  return hasher.finalize();
}

std::optional<Bytes> SHA256::hashFile(const std::filesystem::path& file, std::size_t chunkSize) {
  const int fd = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return std::nullopt;
  ::posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
  SHA256 hasher;
  std::vector<char> buffer(chunkSize);
  for (;;) {
    const ssize_t read = ::read(fd, buffer.data(), buffer.size());
    if (read < 0 && errno == EINTR) continue;
    if (read < 0) {
      ::close(fd);
      return std::nullopt;
    }
    if (read == 0) break;
    hasher.update(std::string_view(buffer.data(), std::size_t(read)));
  }
  ::close(fd);
  return hasher.finalize();
}

std::string lowerHex(const Bytes& bytes) {
  static const char digits[] = "0123456789abcdef";
  std::string hex;
  hex.reserve(bytes.size() * 2);
  for (auto byte : bytes) {
    hex += digits[byte >> 4];
    hex += digits[byte & 0xf];
  }
  return hex;
}

}  // namespace fp
