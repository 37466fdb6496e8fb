#include "platform/upload_body.h"

#include <curl/curl.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>

#include "platform/platform_error.h"

namespace fp {

UploadBody::UploadBody(const std::filesystem::path& path)
    : fd_(::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
  if (fd_ < 0 || ::fstat(fd_, &opened_) != 0) {
    if (fd_ >= 0) ::close(fd_);
    throw PlatformError::withDescription(NSCocoaErrorDomain, 260,
                                         "The file to upload could not be opened.");
  }
}

UploadBody::~UploadBody() {
  ::close(fd_);
}

bool UploadBody::unchanged() const {
  struct stat now {};
  return ::fstat(fd_, &now) == 0 && now.st_size == opened_.st_size &&
         now.st_mtim.tv_sec == opened_.st_mtim.tv_sec &&
         now.st_mtim.tv_nsec == opened_.st_mtim.tv_nsec &&
         now.st_ctim.tv_sec == opened_.st_ctim.tv_sec &&
         now.st_ctim.tv_nsec == opened_.st_ctim.tv_nsec;
}

std::size_t UploadBody::read(char* buffer, std::size_t size, std::size_t count, void* user) {
  auto& body = *static_cast<UploadBody*>(user);
  const auto left = body.size() - body.sent_;
  if (left == 0) return 0;
  const auto got =
      ::read(body.fd_, buffer,
             static_cast<std::size_t>(std::min<std::uint64_t>(left, std::uint64_t{size} * count)));
  if (got < 0) return CURL_READFUNC_ABORT;
  body.sent_ += static_cast<std::uint64_t>(got);
  // The last piece goes only if what went before still is the file.
  body.changed_ = got == 0 || (body.sent_ == body.size() && !body.unchanged());
  return body.changed_ ? CURL_READFUNC_ABORT : static_cast<std::size_t>(got);
}

}  // namespace fp
