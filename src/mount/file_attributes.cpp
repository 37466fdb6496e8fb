#include "mount/file_attributes.h"

#include <chrono>

namespace drive::mount {
namespace {

// To the nearest microsecond: a date is a double, about a tenth of a microsecond off nowadays, so
// the service's milliseconds and a time set to the microsecond come back as they were.
timespec timespecOf(const std::optional<fp::Date>& date, const timespec& undated) {
  if (!date) return undated;
  const auto since = date->time_since_epoch();
  auto seconds = std::chrono::floor<std::chrono::seconds>(since);
  // Only the fraction is rounded: a date far from now would overflow in microseconds.
  auto micros = std::chrono::round<std::chrono::microseconds>(since - seconds);
  if (micros >= std::chrono::seconds(1)) {
    seconds += std::chrono::seconds(1);
    micros = {};
  }
  const auto nanoseconds = std::chrono::nanoseconds(micros);
  return {static_cast<time_t>(seconds.count()), static_cast<long>(nanoseconds.count())};
}

mode_t modeOf(const replica::ItemInfo& info) {
  const bool writable = info.may(fp::ItemCapability::writing);
  if (info.isFolder) return S_IFDIR | (writable ? 0755 : 0555);
  return S_IFREG | (writable ? 0644 : 0444);
}

}  // namespace

struct stat attributesOf(const replica::ItemInfo& info, const Owner& owner,
                         const timespec& undated) {
  struct stat attributes {};
  attributes.st_ino = info.key;
  attributes.st_mode = modeOf(info);
  attributes.st_nlink = info.isFolder ? 2 : 1;
  attributes.st_uid = owner.uid;
  attributes.st_gid = owner.gid;
  attributes.st_size = info.isFolder ? 0 : info.size;
  // Programs size their buffers by it (cp, cat): one request per MiB, as large as the kernel
  // sends, instead of one per 128 KiB.
  attributes.st_blksize = 1 << 20;
  attributes.st_blocks = (attributes.st_size + 511) / 512;
  attributes.st_mtim = timespecOf(info.modified, undated);
  // The last change here, of contents or status (rename, chmod, a date set); else the date of
  // the contents the service has.
  attributes.st_ctim = info.changed ? timespecOf(info.changed, undated) : attributes.st_mtim;
  attributes.st_atim = attributes.st_mtim;
  return attributes;
}

}  // namespace drive::mount
