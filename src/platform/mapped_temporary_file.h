#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/url_session.h"

namespace fp {

// A file received into a shared mapping of itself: a hidden file beside its target that grows
// as bytes arrive, so the kernel can write pages back under memory pressure and no copy of the
// content sits in anonymous memory. commit() cuts it to size and renames it into place;
// otherwise it is removed, so a failed transfer leaves nothing. Failures throw
// std::system_error.
class MappedTemporaryFile final : public ResponseBodySink {
 public:
  MappedTemporaryFile(std::filesystem::path target, mode_t mode);
  ~MappedTemporaryFile() override;
  MappedTemporaryFile(const MappedTemporaryFile&) = delete;
  MappedTemporaryFile& operator=(const MappedTemporaryFile&) = delete;

  void begin(std::optional<std::uint64_t> expectedLength) override;
  void append(std::string_view bytes) override;

  const std::filesystem::path& target() const { return target_; }
  std::uint64_t size() const { return size_; }
  // Makes the received bytes the target file, whole.
  void commit();

 private:
  // Room for at least `needed` bytes, with blocks allocated: a write into a hole the disk
  // cannot fill would end the process with SIGBUS instead of failing.
  void reserve(std::uint64_t needed);
  void prefault(std::uint64_t offset, std::uint64_t length);
  void unmap();

  std::filesystem::path target_;
  std::string hidden_;
  int fd_ = -1;
  char* mapping_ = nullptr;
  std::uint64_t capacity_ = 0;
  std::uint64_t size_ = 0;
  bool committed_ = false;
};

}  // namespace fp
