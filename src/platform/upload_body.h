#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>

namespace fp {

// A file sent as a request body: exactly the length announced at the start, whatever happens
// to the file meanwhile, so that the server never reads the next request as the rest of this
// body. A file written to meanwhile goes as read (whoever writes it uploads it again); one cut
// short of the announced length ends the transfer, as a read failure.
class UploadBody {
 public:
  // Throws PlatformError (Cocoa 260) when the file cannot be opened.
  explicit UploadBody(const std::filesystem::path& path);
  ~UploadBody();
  UploadBody(const UploadBody&) = delete;
  UploadBody& operator=(const UploadBody&) = delete;

  std::uint64_t size() const { return size_; }
  // Whether the transfer ended because the file became shorter than announced.
  bool cutShort() const { return cutShort_; }
  // libcurl's read callback; `user` is the UploadBody.
  static std::size_t read(char* buffer, std::size_t size, std::size_t count, void* user);

 private:
  int fd_ = -1;
  std::uint64_t size_ = 0;
  std::uint64_t sent_ = 0;
  bool cutShort_ = false;
};

}  // namespace fp
