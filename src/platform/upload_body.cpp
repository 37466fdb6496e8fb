#include "platform/upload_body.h"

#include <curl/curl.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "platform/platform_error.h"

namespace fp {

UploadBody::UploadBody(const std::filesystem::path& path)
    : fd_(::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
  struct stat status {};
  if (fd_ < 0 || ::fstat(fd_, &status) != 0) {
    if (fd_ >= 0) ::close(fd_);
    throw PlatformError::withDescription(NSCocoaErrorDomain, 260,
                                         "The file to upload could not be opened.");
  }
  size_ = static_cast<std::uint64_t>(status.st_size);
}

UploadBody::~UploadBody() {
  ::close(fd_);
}

std::size_t UploadBody::read(char* buffer, std::size_t size, std::size_t count, void* user) {
  auto& body = *static_cast<UploadBody*>(user);
  const auto left = body.size_ - body.sent_;
  if (left == 0) return 0;
  const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(left, size * count));
  const auto got = ::read(body.fd_, buffer, wanted);
  if (got < 0) return CURL_READFUNC_ABORT;
  body.cutShort_ = got == 0;
  if (body.cutShort_) return CURL_READFUNC_ABORT;
  body.sent_ += static_cast<std::uint64_t>(got);
  return static_cast<std::size_t>(got);
}

}  // namespace fp
