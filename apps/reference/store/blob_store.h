#pragma once

#include <openssl/evp.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace drive::reference {

// An open blob: its descriptor stays valid even when the blob is replaced meanwhile.
class OpenBlob {
 public:
  OpenBlob(int fd, std::uint64_t size) : fd_(fd), size_(size) {}
  ~OpenBlob();
  OpenBlob(const OpenBlob&) = delete;
  OpenBlob& operator=(const OpenBlob&) = delete;
  int fd() const { return fd_; }
  std::uint64_t size() const { return size_; }

 private:
  int fd_;
  std::uint64_t size_;
};

struct StoredBlob {
  std::string name;
  std::uint64_t size = 0;
  std::string sha256;  // lower-case hex
};

// File contents, one file per blob in a directory; a blob is never changed once written.
class BlobStore {
 public:
  // Streams one upload into a temporary file while hashing it; dropped unless finished.
  class Writer {
   public:
    Writer(std::filesystem::path directory, int fd, std::filesystem::path temporary);
    ~Writer();
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    bool write(const char* data, std::size_t size);
    // Makes the bytes written so far a new blob.
    StoredBlob finish();

   private:
    bool flush();

    std::filesystem::path directory_;
    int fd_;
    std::filesystem::path temporary_;
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> digest_;
    std::string buffer_;
    std::uint64_t size_ = 0;
    bool failed_ = false;
  };

  explicit BlobStore(std::filesystem::path directory);

  std::unique_ptr<Writer> create();
  std::unique_ptr<OpenBlob> open(std::string_view name) const;
  void remove(std::string_view name);

 private:
  std::filesystem::path path(std::string_view name) const;

  std::filesystem::path directory_;
};

}  // namespace drive::reference
