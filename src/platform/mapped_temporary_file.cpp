#include "platform/mapped_temporary_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>

#include "platform/atomic_file.h"

namespace fp {
namespace {

// Growth without a Content-Length: doubling, from a start that spares small answers a remap.
constexpr std::uint64_t kInitialCapacity = 8 * 1024 * 1024;

[[noreturn]] void fail(int error, const char* what) {
  throw std::system_error(error, std::generic_category(), what);
}

std::uint64_t roundUpToPage(std::uint64_t bytes) {
  const auto page = static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
  return (bytes + page - 1) / page * page;
}

}  // namespace

MappedTemporaryFile::MappedTemporaryFile(std::filesystem::path target, mode_t mode)
    : target_(std::move(target)) {
  // Named and held as every half-written file of ours: a host that starts meanwhile leaves it
  // alone, and a leftover is recognised and cleared the same way.
  fd_ = createHeldTemporary(target_, hidden_);
  if (fd_ < 0) fail(errno, "create the temporary file");
  if (::fchmod(fd_, mode) != 0) {
    const int error = errno;
    ::close(fd_);
    ::unlink(hidden_.c_str());
    fail(error, "set the temporary file's mode");
  }
}

MappedTemporaryFile::~MappedTemporaryFile() {
  unmap();
  if (fd_ >= 0) ::close(fd_);
  if (!committed_) ::unlink(hidden_.c_str());
}

void MappedTemporaryFile::begin(std::optional<std::uint64_t> expectedLength) {
  size_ = 0;
  if (expectedLength) reserve(*expectedLength);
}

void MappedTemporaryFile::append(std::string_view bytes) {
  if (bytes.empty()) return;
  if (size_ + bytes.size() > capacity_) {
    reserve(std::max({size_ + bytes.size(), capacity_ * 2, kInitialCapacity}));
  }
  prefault(size_, bytes.size());
  std::memcpy(mapping_ + size_, bytes.data(), bytes.size());
  size_ += bytes.size();
}

void MappedTemporaryFile::reserve(std::uint64_t needed) {
  const std::uint64_t capacity = roundUpToPage(needed);
  if (capacity <= capacity_) return;
  const int error = ::posix_fallocate(fd_, static_cast<off_t>(capacity_),
                                      static_cast<off_t>(capacity - capacity_));
  if (error != 0) fail(error, "allocate the temporary file");
  void* mapping = mapping_ ? ::mremap(mapping_, capacity_, capacity, MREMAP_MAYMOVE)
                           : ::mmap(nullptr, capacity, PROT_READ | PROT_WRITE, MAP_SHARED, fd_, 0);
  if (mapping == MAP_FAILED) fail(errno, "map the temporary file");
  mapping_ = static_cast<char*>(mapping);
  capacity_ = capacity;
}

// One call maps a whole piece writable: page by page, the faults cost more than the copy.
// Kernels without it fault as usual.
void MappedTemporaryFile::prefault(std::uint64_t offset, std::uint64_t length) {
  const auto page = static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
  const std::uint64_t start = offset / page * page;
  const std::uint64_t end = std::min(roundUpToPage(offset + length), capacity_);
  ::madvise(mapping_ + start, end - start, MADV_POPULATE_WRITE);
}

void MappedTemporaryFile::unmap() {
  if (mapping_) ::munmap(mapping_, capacity_);
  mapping_ = nullptr;
}

void MappedTemporaryFile::commit() {
  unmap();
  if (::ftruncate(fd_, static_cast<off_t>(size_)) != 0) fail(errno, "size the temporary file");
  const int closed = ::close(fd_);
  fd_ = -1;
  if (closed != 0) fail(errno, "close the temporary file");
  if (::rename(hidden_.c_str(), target_.c_str()) != 0) fail(errno, "move the temporary file");
  committed_ = true;
}

}  // namespace fp
