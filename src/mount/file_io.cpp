#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <system_error>

#include "mount/drive_file_system.h"
#include "mount/mount_log.h"
#include "platform/scope_exit.h"

namespace drive::mount {
namespace {

using replica::ReplicaError;

void checkWritable(const replica::ItemInfo& info) {
  if (!info.may(fp::ItemCapability::writing)) {
    throw ReplicaError(ReplicaError::Kind::refused, info.filename + " is read-only.");
  }
}

void checkOpenable(const replica::ItemInfo& info) {
  if (info.isFolder) throw ReplicaError(ReplicaError::Kind::isFolder, "This is a folder.");
  // Documents of the service's own app stay in the cloud; their web link is an attribute.
  if (info.syncMode == "pralo") {
    throw ReplicaError(ReplicaError::Kind::refused, info.filename + " opens in PRALO only.");
  }
}

int openOrThrow(const std::filesystem::path& path, int flags) {
  const int fd = ::open(path.c_str(), flags | O_CLOEXEC);
  if (fd < 0) {
    throw ReplicaError(ReplicaError::Kind::failed, "cannot open the local copy " + path.string() +
                                                       ": " +
                                                       std::generic_category().message(errno));
  }
  return fd;
}

}  // namespace

void DriveFileSystem::openHandle(fuse_file_info* fi, const replica::ItemInfo& opened, int flags,
                                 const std::function<bool()>& abandoned) {
  const bool writable = (flags & O_ACCMODE) != O_RDONLY;
  auto file = std::make_shared<OpenFile>();
  OpenFile& handle = *file;
  handle.key = opened.key;
  handle.writable = writable;
  // A new file has been written since its creation.
  handle.dirty = (flags & O_CREAT) != 0;
  // A handle that never opens must not hold the upload back.
  fp::ScopeExit unwritten([&] {
    if (handle.dirty) replica_.endWriting(opened.key);
  });
  // Held before it is fetched, so that nothing drops the copy between its fetch and its open.
  replica_.holdCopy(opened.key);
  fp::ScopeExit unheld([&] { replica_.releaseCopy(opened.key); });
  // Nothing of what O_TRUNC empties is read: it is not downloaded first.
  const bool emptying = writable && (flags & O_TRUNC);
  const auto path = emptying   ? replica_.copyToEmpty(opened.key)
                    : writable ? replica_.writableCopy(opened.key, abandoned)
                               : replica_.contents(opened.key, abandoned);
  handle.fd = openOrThrow(path, writable ? O_RDWR : O_RDONLY);
  // The download may have brought a newer version than the one the kernel was shown.
  handle.info = replica_.item(opened.key).value_or(opened);
  // Emptied only once counted as written: a failure before leaves the copy as it was.
  if (emptying) {
    markWritten(handle);
    if (::ftruncate(handle.fd, 0) != 0) throw std::system_error(errno, std::generic_category());
  }
  fi->keep_cache = files_.keepCache(handle.key, handle.info.contentVersion) ? 1 : 0;
  // What a write-only handle writes is not read through it: copying it into the kernel's page
  // cache on the way to the local copy only doubles the memory a large copy in fills.
  handle.uncached = (fi->flags & O_ACCMODE) == O_WRONLY;
  fi->direct_io = handle.uncached ? 1 : 0;
  fi->fh = files_.add(std::move(file));
  unheld.release();
  unwritten.release();
}

void DriveFileSystem::open(FuseReply& reply, fuse_ino_t ino, fuse_file_info* fi) {
  const auto info = existing(ino);
  checkOpenable(info);
  const bool readOnly = (fi->flags & O_ACCMODE) == O_RDONLY;
  if (!readOnly || (fi->flags & O_TRUNC)) checkWritable(info);
  // Linux empties a file opened read-only with O_TRUNC as well.
  if (readOnly && (fi->flags & O_TRUNC) && info.size != 0) truncate(info, 0, nullptr);
  // A download may take minutes: the program may give up on it, as on any network file system.
  openHandle(fi, info, fi->flags, [&reply] { return reply.interrupted(); });
  if (fi->flags & O_TRUNC) changedThrough(ino, info.key);
  reply([fi](fuse_req_t r) { return fuse_reply_open(r, fi); });
}

void DriveFileSystem::create(FuseReply& reply, fuse_ino_t parent, const std::string& name,
                             fuse_file_info* fi) {
  const auto folder = existing(parent);
  checkWritable(folder);
  const auto created = replica_.createFile(folder.key, name, true);
  openHandle(fi, created, O_RDWR | O_CREAT);
  const auto param = entry(created);
  reply([&](fuse_req_t r) { return fuse_reply_create(r, &param, fi); });
}

void DriveFileSystem::read(FuseReply& reply, size_t size, off_t offset, fuse_file_info* fi) {
  const auto file = files_.find(fi->fh);
  if (!file) return reply.error(EBADF);
  // Straight from the content file, spliced where the kernel allows.
  // Field by field: FUSE_BUFVEC_INIT is a C compound literal, not C++.
  fuse_bufvec buffer{};
  buffer.count = 1;
  buffer.buf[0].size = size;
  buffer.buf[0].flags = static_cast<fuse_buf_flags>(FUSE_BUF_IS_FD | FUSE_BUF_FD_SEEK);
  buffer.buf[0].fd = file->fd;
  buffer.buf[0].pos = offset;
  reply([&](fuse_req_t r) {
    return fuse_reply_data(r, &buffer, static_cast<fuse_buf_copy_flags>(FUSE_BUF_SPLICE_MOVE));
  });
}

void DriveFileSystem::write(FuseReply& reply, fuse_ino_t ino, const char* data, size_t size,
                            off_t offset, fuse_file_info* fi) {
  const auto file = files_.find(fi->fh);
  if (!file || !file->writable) return reply.error(EBADF);
  markWritten(*file);
  // The next open must not keep pages cached before this write.
  if (file->uncached) files_.dropCache(file->key);
  const auto written = ::pwrite(file->fd, data, size, offset);
  if (written < 0) return reply.error(errno);
  changedThrough(ino, file->key);
  reply([&](fuse_req_t r) { return fuse_reply_write(r, static_cast<size_t>(written)); });
}

void DriveFileSystem::markWritten(OpenFile& file) {
  if (file.dirty) return;
  // The copy went while the file was open, a newer version having come from the service: what
  // this handle wrote now would reach no one. A file deleted or saved over here is another
  // matter: writing it on is harmless, as on any disk.
  struct stat status {};
  if (!file.superseded && ::fstat(file.fd, &status) == 0 && status.st_nlink == 0 &&
      replica_.item(file.key)) {
    throw ReplicaError(ReplicaError::Kind::stale,
                       file.info.filename + " changed on the service while it was open.");
  }
  if (file.dirty.exchange(true)) return;
  try {
    replica_.beginWriting(file.key);
  } catch (...) {
    file.dirty = false;  // not counted: nothing to end
    throw;
  }
}

// A file saved over another stays known to the kernel by the new file's inode too, until the
// kernel forgets it: what changes through one inode leaves the other's size and pages stale.
void DriveFileSystem::changedThrough(fuse_ino_t ino, replica::ItemKey key) {
  auto inodes = names_.aliasesOf(key);
  if (inodes.empty()) return;
  inodes.push_back(key);
  for (const auto other : inodes) {
    if (other != ino) invalidations_->stale(other);
  }
}

void DriveFileSystem::handOver(OpenFile& file) {
  if (!file.dirty.exchange(false)) return;
  // The writing ends only once the change is queued: no upload may settle in between and take
  // the copy for clean.
  const fp::ScopeExit ended([&] { replica_.endWriting(file.key); });
  try {
    replica_.contentsChanged(file.key);
  } catch (const ReplicaError& error) {
    if (error.kind() != ReplicaError::Kind::notFound) throw;
  }
}

// Every close(2) flushes, and a program counts its data written once close returns: so the
// replica gets the contents here, not at the release that may come later.
void DriveFileSystem::flush(FuseReply& reply, fuse_file_info* fi) {
  if (const auto file = files_.find(fi->fh)) handOver(*file);
  reply.error(0);
}

void DriveFileSystem::release(FuseReply& reply, fuse_file_info* fi) {
  const auto file = files_.release(fi->fh);
  if (file) {
    ::close(file->fd);
    file->fd = -1;
    const fp::ScopeExit unheld([&] { replica_.releaseCopy(file->key); });
    handOver(*file);
  }
  reply.error(0);
}

void DriveFileSystem::flushOpenFiles() {
  files_.forEach([this](OpenFile& file) { handOver(file); });
}

void DriveFileSystem::truncate(const replica::ItemInfo& info, off_t size, fuse_file_info* fi) {
  checkWritable(info);
  if (const auto file = fi ? files_.find(fi->fh) : nullptr; file && file->writable) {
    markWritten(*file);
    if (::ftruncate(file->fd, size) != 0) throw std::system_error(errno, std::generic_category());
    return;
  }
  // Emptied, the old contents are not needed: nothing is downloaded.
  const bool emptying = size == 0;
  const auto path = emptying ? replica_.copyToEmpty(info.key) : replica_.writableCopy(info.key);
  replica_.beginWriting(info.key);
  const fp::ScopeExit ended([&] { replica_.endWriting(info.key); });
  if (::truncate(path.c_str(), size) != 0) throw std::system_error(errno, std::generic_category());
  replica_.contentsChanged(info.key);
}

// A file removed while open stays usable through its handles until the last one closes; its
// dates go with it.
void DriveFileSystem::setattrUnlinked(FuseReply& reply, fuse_ino_t ino, const struct stat& wanted,
                                      int toSet, fuse_file_info* fi) {
  const auto open = unlinkedOpenFile(ino, fi);
  if ((toSet & FUSE_SET_ATTR_SIZE) && ::ftruncate(open->fd, wanted.st_size) != 0) {
    return reply.error(errno);
  }
  auto result = attributes(open->info);
  struct stat actual {};
  if (::fstat(open->fd, &actual) == 0) {
    result.st_size = actual.st_size;
    result.st_blocks = actual.st_blocks;
  }
  result.st_nlink = 0;
  reply([&](fuse_req_t r) { return fuse_reply_attr(r, &result, kCacheTimeout); });
}

void DriveFileSystem::setattr(FuseReply& reply, fuse_ino_t ino, const struct stat& wanted,
                              int toSet, fuse_file_info* fi) {
  if ((toSet & FUSE_SET_ATTR_UID && wanted.st_uid != owner_.uid) ||
      (toSet & FUSE_SET_ATTR_GID && wanted.st_gid != owner_.gid)) {
    return reply.error(EPERM);
  }
  const auto found = replica_.item(names_.resolve(ino));
  if (!found) return setattrUnlinked(reply, ino, wanted, toSet, fi);
  auto info = *found;
  if (toSet & FUSE_SET_ATTR_MODE) {
    // As on FAT: only taking away every write permission, or giving it back, is kept.
    const bool writable = (wanted.st_mode & 0222) != 0;
    const bool kept = !info.isFolder && (info.capabilities & fp::ItemCapability::writing);
    // Even a chmod that changes nothing is a status change, as on any disk.
    replica_.setReadOnlyHere(info.key, kept ? !writable : info.readOnlyHere);
    info = existing(ino);
  }
  if (toSet & FUSE_SET_ATTR_SIZE) {
    checkOpenable(info);
    truncate(info, wanted.st_size, fi);
    changedThrough(ino, info.key);
    info = existing(ino);
  }
  if (toSet & (FUSE_SET_ATTR_MTIME | FUSE_SET_ATTR_MTIME_NOW)) {
    // In seconds as a double, so that dates far from now cannot overflow.
    const auto when =
        toSet & FUSE_SET_ATTR_MTIME_NOW
            ? std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch())
                  .count()
            : static_cast<double>(wanted.st_mtim.tv_sec) +
                  static_cast<double>(wanted.st_mtim.tv_nsec) / 1e9;
    replica_.setModified(info.key, when);
    info = existing(ino);
  }
  if (toSet & FUSE_SET_ATTR_ATIME_NOW) {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    accessed_.set(info.key, now);
  } else if (toSet & FUSE_SET_ATTR_ATIME) {
    accessed_.set(info.key, wanted.st_atim);
  }
  // Other mode bits stay the drive's own, as on file systems without them.
  const auto result = attributes(info);
  reply([&](fuse_req_t r) { return fuse_reply_attr(r, &result, kCacheTimeout); });
}

}  // namespace drive::mount
