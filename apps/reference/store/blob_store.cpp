#include "reference/store/blob_store.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

#include "reference/store/random_id.h"

namespace drive::reference {
namespace {

constexpr std::string_view kTemporaryPrefix = ".upload-";
// Large writes keep an upload of many small network reads to few system calls.
constexpr std::size_t kBufferSize = 1 << 20;

}  // namespace

OpenBlob::~OpenBlob() {
  ::close(fd_);
}

BlobStore::Writer::Writer(std::filesystem::path directory, int fd, std::filesystem::path temporary)
    : directory_(std::move(directory)),
      fd_(fd),
      temporary_(std::move(temporary)),
      digest_(EVP_MD_CTX_new(), &EVP_MD_CTX_free) {
  if (!digest_ || EVP_DigestInit_ex(digest_.get(), EVP_sha256(), nullptr) != 1) failed_ = true;
  buffer_.reserve(kBufferSize);
}

BlobStore::Writer::~Writer() {
  if (fd_ >= 0) ::close(fd_);
  if (!temporary_.empty()) ::unlink(temporary_.c_str());
}

bool BlobStore::Writer::write(const char* data, std::size_t size) {
  if (failed_) return false;
  if (EVP_DigestUpdate(digest_.get(), data, size) != 1) failed_ = true;
  size_ += size;
  buffer_.append(data, size);
  if (buffer_.size() >= kBufferSize) flush();
  return !failed_;
}

bool BlobStore::Writer::flush() {
  std::string_view rest = buffer_;
  while (!rest.empty() && !failed_) {
    const ssize_t written = ::write(fd_, rest.data(), rest.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) failed_ = true;
    if (written > 0) rest.remove_prefix(static_cast<std::size_t>(written));
  }
  buffer_.clear();
  return !failed_;
}

StoredBlob BlobStore::Writer::finish() {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  if (!flush() || EVP_DigestFinal_ex(digest_.get(), digest, &length) != 1 || ::close(fd_) != 0) {
    fd_ = -1;
    throw std::runtime_error("cannot store the content");
  }
  fd_ = -1;
  StoredBlob blob{randomId("blob_"), size_,
                  lowerHex(std::string_view(reinterpret_cast<const char*>(digest), length))};
  if (::rename(temporary_.c_str(), (directory_ / blob.name).c_str()) != 0) {
    throw std::runtime_error("cannot store the content");
  }
  temporary_.clear();
  return blob;
}

BlobStore::BlobStore(std::filesystem::path directory) : directory_(std::move(directory)) {
  std::filesystem::create_directories(directory_);
  // Uploads cut short by a crash leave their temporary files behind.
  for (const auto& entry : std::filesystem::directory_iterator(directory_)) {
    if (entry.path().filename().string().starts_with(kTemporaryPrefix)) {
      std::error_code ignored;
      std::filesystem::remove(entry.path(), ignored);
    }
  }
}

std::unique_ptr<BlobStore::Writer> BlobStore::create() {
  std::string pattern = (directory_ / (std::string(kTemporaryPrefix) + "XXXXXX")).string();
  const int fd = ::mkostemp(pattern.data(), O_CLOEXEC);
  if (fd < 0) throw std::runtime_error("cannot store the content");
  return std::make_unique<Writer>(directory_, fd, pattern);
}

std::unique_ptr<OpenBlob> BlobStore::open(std::string_view name) const {
  const int fd = ::open(path(name).c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return nullptr;
  struct stat status {};
  if (::fstat(fd, &status) != 0) {
    ::close(fd);
    return nullptr;
  }
  return std::make_unique<OpenBlob>(fd, static_cast<std::uint64_t>(status.st_size));
}

void BlobStore::remove(std::string_view name) {
  std::error_code ignored;
  std::filesystem::remove(path(name), ignored);
}

std::filesystem::path BlobStore::path(std::string_view name) const {
  return directory_ / std::string(name);
}

}  // namespace drive::reference
