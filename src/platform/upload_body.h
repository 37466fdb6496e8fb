#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>

namespace fp {

// A file sent as a request body. What it reads is exactly the length announced at the start,
// from a file that did not change meanwhile: a file written to during the upload would reach
// the server torn, and one that shrank would leave the connection short of its announced
// length. Either ends the transfer instead, as a read failure.
class UploadBody {
 public:
  // Throws PlatformError (Cocoa 260) when the file cannot be opened.
  explicit UploadBody(const std::filesystem::path& path);
  ~UploadBody();
  UploadBody(const UploadBody&) = delete;
  UploadBody& operator=(const UploadBody&) = delete;

  std::uint64_t size() const { return static_cast<std::uint64_t>(opened_.st_size); }
  // Whether the transfer ended because the file changed under it.
  bool changed() const { return changed_; }
  // libcurl's read callback; `user` is the UploadBody.
  static std::size_t read(char* buffer, std::size_t size, std::size_t count, void* user);

 private:
  bool unchanged() const;

  int fd_ = -1;
  struct stat opened_ {};
  std::uint64_t sent_ = 0;
  bool changed_ = false;
};

}  // namespace fp
