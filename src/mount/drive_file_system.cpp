#include "mount/drive_file_system.h"

#include <malloc.h>
#include <sys/xattr.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <utility>
#include <vector>

#include "mount/directory_snapshot.h"
#include "mount/entry_names.h"
#include "mount/item_xattrs.h"
#include "mount/mount_log.h"

namespace drive::mount {
namespace {

using replica::ReplicaError;

DriveFileSystem& fileSystemOf(fuse_req_t request) {
  return *static_cast<DriveFileSystem*>(fuse_req_userdata(request));
}

// Runs one request's body; a failure becomes its errno, and a provider's failure is logged
// with the provider's own words.
template <class Body>
void handle(fuse_req_t request, const char* what, Body body) {
  FuseReply reply(request, what);
  try {
    body(fileSystemOf(request), reply);
  } catch (const ReplicaError& error) {
    if (error.kind() == ReplicaError::Kind::failed ||
        error.kind() == ReplicaError::Kind::diskFull) {
      mountLog().error(std::string(what) + ": " + error.what());
    }
    reply.error(errnoOf(error));
  } catch (const std::exception& error) {
    mountLog().error(std::string(what) + ": " + error.what());
    reply.error(EIO);
  }
}

constexpr std::size_t kLargeFolder = 10000;

void answerErrno(fuse_req_t request, int error) {
  fuse_reply_err(request, error);
}

// A name no entry can have is answered before anything is looked up.
template <class Body>
void handleNamed(fuse_req_t request, const char* what, const char* name, bool newEntry, Body body) {
  if (const int error = nameError(name, newEntry)) return answerErrno(request, error);
  handle(request, what, body);
}

using SnapshotHandle = std::shared_ptr<DirectorySnapshot>;

DirectorySnapshot& snapshotOf(const fuse_file_info* fi) {
  return **reinterpret_cast<SnapshotHandle*>(fi->fh);
}

fuse_lowlevel_ops makeOperations() {
  fuse_lowlevel_ops ops{};
  ops.init = [](void*, fuse_conn_info* conn) {
    conn->want &= ~FUSE_CAP_READDIRPLUS_AUTO;
    conn->want |= conn->capable & (FUSE_CAP_SPLICE_WRITE | FUSE_CAP_SPLICE_MOVE);
    conn->max_write = 1 << 20;
    conn->max_readahead = 1 << 20;
  };
  // The kernel dropped these inodes: what it was told of them, and whom they stood for, goes.
  ops.forget = [](fuse_req_t r, fuse_ino_t ino, uint64_t) {
    fileSystemOf(r).forget(ino);
    fuse_reply_none(r);
  };
  ops.forget_multi = [](fuse_req_t r, size_t count, fuse_forget_data* inodes) {
    for (size_t index = 0; index < count; ++index)
      fileSystemOf(r).forget(inodes[index].ino);
    fuse_reply_none(r);
  };
  ops.lookup = [](fuse_req_t r, fuse_ino_t parent, const char* name) {
    handleNamed(r, "lookup", name, false,
                [&](auto& fs, auto& reply) { fs.lookup(reply, parent, name); });
  };
  ops.getattr = [](fuse_req_t r, fuse_ino_t ino, fuse_file_info* fi) {
    handle(r, "getattr", [&](auto& fs, auto& reply) { fs.getattr(reply, ino, fi); });
  };
  ops.setattr = [](fuse_req_t r, fuse_ino_t ino, struct stat* attr, int toSet, fuse_file_info* fi) {
    handle(r, "setattr", [&](auto& fs, auto& reply) { fs.setattr(reply, ino, *attr, toSet, fi); });
  };
  ops.opendir = [](fuse_req_t r, fuse_ino_t ino, fuse_file_info* fi) {
    handle(r, "opendir", [&](auto& fs, auto& reply) { fs.opendir(reply, ino, fi); });
  };
  ops.readdir = [](fuse_req_t r, fuse_ino_t ino, size_t size, off_t off, fuse_file_info* fi) {
    handle(r, "readdir",
           [&](auto& fs, auto& reply) { fs.readdir(reply, ino, size, off, fi, false); });
  };
  ops.readdirplus = [](fuse_req_t r, fuse_ino_t ino, size_t size, off_t off, fuse_file_info* fi) {
    handle(r, "readdirplus",
           [&](auto& fs, auto& reply) { fs.readdir(reply, ino, size, off, fi, true); });
  };
  ops.releasedir = [](fuse_req_t r, fuse_ino_t, fuse_file_info* fi) {
    handle(r, "releasedir", [&](auto& fs, auto& reply) { fs.releasedir(reply, fi); });
  };
  ops.statfs = [](fuse_req_t r, fuse_ino_t) {
    handle(r, "statfs", [&](auto& fs, auto& reply) { fs.statfs(reply); });
  };
  ops.open = [](fuse_req_t r, fuse_ino_t ino, fuse_file_info* fi) {
    handle(r, "open", [&](auto& fs, auto& reply) { fs.open(reply, ino, fi); });
  };
  ops.create = [](fuse_req_t r, fuse_ino_t parent, const char* name, mode_t, fuse_file_info* fi) {
    handleNamed(r, "create", name, true,
                [&](auto& fs, auto& reply) { fs.create(reply, parent, name, fi); });
  };
  ops.read = [](fuse_req_t r, fuse_ino_t, size_t size, off_t off, fuse_file_info* fi) {
    handle(r, "read", [&](auto& fs, auto& reply) { fs.read(reply, size, off, fi); });
  };
  ops.write = [](fuse_req_t r, fuse_ino_t ino, const char* buf, size_t size, off_t off,
                 fuse_file_info* fi) {
    handle(r, "write", [&](auto& fs, auto& reply) { fs.write(reply, ino, buf, size, off, fi); });
  };
  ops.flush = [](fuse_req_t r, fuse_ino_t, fuse_file_info* fi) {
    handle(r, "flush", [&](auto& fs, auto& reply) { fs.flush(reply, fi); });
  };
  ops.fsync = [](fuse_req_t r, fuse_ino_t, int, fuse_file_info* fi) {
    handle(r, "fsync", [&](auto& fs, auto& reply) { fs.flush(reply, fi); });
  };
  ops.release = [](fuse_req_t r, fuse_ino_t, fuse_file_info* fi) {
    handle(r, "release", [&](auto& fs, auto& reply) { fs.release(reply, fi); });
  };
  ops.mkdir = [](fuse_req_t r, fuse_ino_t parent, const char* name, mode_t) {
    handleNamed(r, "mkdir", name, true,
                [&](auto& fs, auto& reply) { fs.mkdir(reply, parent, name); });
  };
  ops.unlink = [](fuse_req_t r, fuse_ino_t parent, const char* name) {
    handleNamed(r, "unlink", name, false,
                [&](auto& fs, auto& reply) { fs.unlink(reply, parent, name, false); });
  };
  ops.rmdir = [](fuse_req_t r, fuse_ino_t parent, const char* name) {
    handleNamed(r, "rmdir", name, false,
                [&](auto& fs, auto& reply) { fs.unlink(reply, parent, name, true); });
  };
  ops.rename = [](fuse_req_t r, fuse_ino_t parent, const char* name, fuse_ino_t newParent,
                  const char* newName, unsigned int flags) {
    if (const int error = nameError(name, false)) return answerErrno(r, error);
    handleNamed(r, "rename", newName, true, [&](auto& fs, auto& reply) {
      fs.rename(reply, parent, name, newParent, newName, flags);
    });
  };
  ops.getxattr = [](fuse_req_t r, fuse_ino_t ino, const char* name, size_t size) {
    // `ls -l` asks for an ACL and a security label per entry; "not supported" (not "absent")
    // lets it stop asking for the rest of this file system.
    const std::string_view asked(name);
    if (!asked.starts_with("user.")) return answerErrno(r, ENOTSUP);
    if (!asked.starts_with(kXattrPrefix)) return answerErrno(r, ENODATA);
    handle(r, "getxattr", [&](auto& fs, auto& reply) { fs.getxattr(reply, ino, name, size); });
  };
  ops.listxattr = [](fuse_req_t r, fuse_ino_t ino, size_t size) {
    handle(r, "listxattr", [&](auto& fs, auto& reply) { fs.listxattr(reply, ino, size); });
  };
  ops.setxattr = [](fuse_req_t r, fuse_ino_t ino, const char* name, const char* value, size_t size,
                    int) {
    handle(r, "setxattr",
           [&](auto& fs, auto& reply) { fs.setxattr(reply, ino, name, std::string(value, size)); });
  };
  ops.removexattr = [](fuse_req_t r, fuse_ino_t, const char*) { answerErrno(r, ENOTSUP); };
  // What a cloud drive has no notion of, refused as file systems without it do.
  ops.link = [](fuse_req_t r, fuse_ino_t, fuse_ino_t, const char*) { answerErrno(r, EPERM); };
  ops.symlink = [](fuse_req_t r, const char*, fuse_ino_t, const char*) { answerErrno(r, EPERM); };
  ops.mknod = [](fuse_req_t r, fuse_ino_t parent, const char* name, mode_t mode, dev_t) {
    handleNamed(r, "mknod", name, true,
                [&](auto& fs, auto& reply) { fs.mknod(reply, parent, name, mode); });
  };
  return ops;
}

}  // namespace

int errnoOf(const ReplicaError& error) {
  switch (error.kind()) {
    case ReplicaError::Kind::notFound:
      return ENOENT;
    case ReplicaError::Kind::exists:
      return EEXIST;
    case ReplicaError::Kind::notFolder:
      return ENOTDIR;
    case ReplicaError::Kind::isFolder:
      return EISDIR;
    case ReplicaError::Kind::notEmpty:
      return ENOTEMPTY;
    case ReplicaError::Kind::refused:
      return EACCES;
    case ReplicaError::Kind::unsupported:
      return EPERM;
    // Not EAGAIN: setxattr(2) turns that into EOPNOTSUPP.
    case ReplicaError::Kind::notYetSent:
      return EBUSY;
    case ReplicaError::Kind::stale:
      return ESTALE;
    case ReplicaError::Kind::diskFull:
      return ENOSPC;
    case ReplicaError::Kind::interrupted:
      return EINTR;
    case ReplicaError::Kind::failed:
      break;
  }
  return EIO;
}

const fuse_lowlevel_ops& DriveFileSystem::operations() {
  static const fuse_lowlevel_ops ops = makeOperations();
  return ops;
}

DriveFileSystem::DriveFileSystem(replica::Replica& replica, Owner owner)
    : replica_(replica),
      owner_(owner),
      invalidations_(std::make_shared<InvalidationQueue>(replica, names_, files_)) {
  clock_gettime(CLOCK_REALTIME, &mountedAt_);
  replica_.addObserver(invalidations_);
}

DriveFileSystem::~DriveFileSystem() {
  replica_.removeObserver(invalidations_);
  invalidations_->stop();
}

replica::ItemInfo DriveFileSystem::existing(fuse_ino_t ino) {
  auto info = replica_.item(names_.resolve(ino));
  if (!info) throw ReplicaError(ReplicaError::Kind::notFound, "No such item.");
  return *info;
}

replica::ItemInfo DriveFileSystem::childOf(fuse_ino_t parent, const std::string& name) {
  auto info = replica_.child(names_.resolve(parent), name);
  if (!info) throw ReplicaError(ReplicaError::Kind::notFound, "No such item.");
  return *info;
}

std::shared_ptr<OpenFile> DriveFileSystem::unlinkedOpenFile(fuse_ino_t ino,
                                                            const fuse_file_info* fi) {
  auto open = fi ? files_.find(fi->fh) : nullptr;
  if (!open) open = files_.anyOf(names_.resolve(ino));
  if (!open) throw ReplicaError(ReplicaError::Kind::notFound, "No such item.");
  return open;
}

struct stat DriveFileSystem::attributes(const replica::ItemInfo& info) const {
  auto result = attributesOf(info, owner_, mountedAt_);
  if (const auto accessed = accessed_.of(info.key)) result.st_atim = *accessed;
  if (const auto written = files_.writtenSize(info.key)) {
    result.st_size = *written;
    result.st_blocks = (*written + 511) / 512;
  }
  return result;
}

fuse_entry_param DriveFileSystem::entry(const replica::ItemInfo& info) {
  return entry(info.parent, info.filename, attributes(info));
}

fuse_entry_param DriveFileSystem::entry(replica::ItemKey parent, const std::string& name,
                                        const struct stat& attributes) {
  names_.told(attributes.st_ino, parent, name);
  fuse_entry_param param{};
  param.ino = attributes.st_ino;
  param.generation = 1;
  param.attr = attributes;
  param.attr_timeout = kCacheTimeout;
  param.entry_timeout = kCacheTimeout;
  return param;
}

void DriveFileSystem::replyEntry(FuseReply& reply, const replica::ItemInfo& info) {
  const auto param = entry(info);
  reply([&](fuse_req_t r) { return fuse_reply_entry(r, &param); });
}

void DriveFileSystem::lookup(FuseReply& reply, fuse_ino_t parent, const std::string& name) {
  const auto folder = names_.resolve(parent);
  // A first listing waits for the service: off this thread, so that the program may give up.
  const auto info = replica_.isListed(folder) ? replica_.child(folder, name)
                                              : awaitUnlessInterrupted(reply, [this, folder, name] {
                                                  return replica_.child(folder, name);
                                                });
  if (info) return replyEntry(reply, *info);
  // Remembered by the kernel until an added item drops it.
  fuse_entry_param negative{};
  negative.entry_timeout = kCacheTimeout;
  reply([&](fuse_req_t r) { return fuse_reply_entry(r, &negative); });
}

void DriveFileSystem::getattr(FuseReply& reply, fuse_ino_t ino, fuse_file_info* fi) {
  const auto info = replica_.item(names_.resolve(ino));
  const auto open = info ? nullptr : unlinkedOpenFile(ino, fi);
  auto result = attributes(info ? *info : open->info);
  // An unlinked file still open: readable until closed, linked nowhere.
  if (!info) result.st_nlink = 0;
  reply([&](fuse_req_t r) { return fuse_reply_attr(r, &result, kCacheTimeout); });
}

void DriveFileSystem::opendir(FuseReply& reply, fuse_ino_t ino, fuse_file_info* fi) {
  const auto info = existing(ino);
  if (!info.isFolder) throw ReplicaError(ReplicaError::Kind::notFolder, "Not a folder.");
  const auto snapshot = std::make_shared<DirectorySnapshot>(
      info.key, info.parent == replica::kNoKey ? info.key : info.parent);
  // A first listing waits for the service: the program may give up on it meanwhile.
  waitUnlessInterrupted(reply, startListing(info.key, snapshot)).get();
  fi->fh = reinterpret_cast<std::uint64_t>(new SnapshotHandle(snapshot));
  reply([fi](fuse_req_t r) { return fuse_reply_open(r, fi); });
}

// Fills the snapshot on a worker; the future is ready once the kernel may read it, that is
// with the first entries of a first listing, while the rest are recorded.
std::future<void> DriveFileSystem::startListing(replica::ItemKey key,
                                                std::shared_ptr<DirectorySnapshot> snapshot) {
  auto started = std::make_shared<std::promise<void>>();
  auto future = started->get_future();
  auto list = [this, key, snapshot, started] {
    bool told = false;
    const auto tell = [&](std::exception_ptr failure) {
      if (std::exchange(told, true)) return;
      failure ? started->set_exception(failure) : started->set_value();
    };
    try {
      replica_.listing(key, [&](std::vector<replica::ItemInfo>& batch) {
        std::vector<DirectorySnapshot::Entry> entries;
        entries.reserve(batch.size());
        for (auto& child : batch)
          entries.push_back({std::move(child.filename), attributes(child)});
        snapshot->add(entries);
        tell(nullptr);
      });
    } catch (const std::exception& error) {
      // A folder open already shows what was listed before the failure.
      if (told) mountLog().error(std::string("opendir: ") + error.what());
      tell(std::current_exception());
    }
    snapshot->finish();
    tell(nullptr);
  };
  // Only a first listing waits for the service; a folder listed before is read right here.
  if (replica_.isListed(key)) {
    list();
  } else {
    patientWork_.post(std::move(list));
  }
  return future;
}

void DriveFileSystem::readdir(FuseReply& reply, fuse_ino_t, size_t size, off_t offset,
                              fuse_file_info* fi, bool plus) {
  auto& snapshot = snapshotOf(fi);
  std::vector<char> buffer(size);
  size_t used = 0;
  const auto add = [&](const char* name, const fuse_entry_param& param, off_t next) {
    auto* at = buffer.data() + used;
    const auto room = size - used;
    const auto needed = plus ? fuse_add_direntry_plus(nullptr, at, room, name, &param, next)
                             : fuse_add_direntry(nullptr, at, room, name, &param.attr, next);
    if (needed > room) return false;
    used += needed;
    return true;
  };
  // Offsets 0 and 1 are "." and "..", then the entries in the snapshot's order.
  for (auto next = offset; next < 2; ++next) {
    fuse_entry_param param{};
    param.attr.st_ino = next == 0 ? snapshot.self() : snapshot.parent();
    param.attr.st_mode = S_IFDIR;
    if (!add(next == 0 ? "." : "..", param, next + 1)) break;
  }
  snapshot.visit(static_cast<size_t>(std::max<off_t>(offset, 2) - 2),
                 [&](size_t index, const char* name, const struct stat& attributes) {
                   const auto param = entry(snapshot.self(), name, attributes);
                   return add(name, param, static_cast<off_t>(index) + 3);
                 });
  reply([&](fuse_req_t r) { return fuse_reply_buf(r, buffer.data(), used); });
}

void DriveFileSystem::releasedir(FuseReply& reply, fuse_file_info* fi) {
  std::unique_ptr<SnapshotHandle> handle(reinterpret_cast<SnapshotHandle*>(fi->fh));
  const bool large = (*handle)->size() >= kLargeFolder;
  handle.reset();
  reply.error(0);
  // The memory of a large listing goes back to the system, not to this thread's arena.
  if (large) malloc_trim(0);
}

void DriveFileSystem::statfs(FuseReply& reply) {
  const auto usage = replica_.usage();
  constexpr std::uint64_t kBlock = 4096;
  struct statvfs result {};
  result.f_bsize = kBlock;
  result.f_frsize = kBlock;
  result.f_blocks = usage.limit / kBlock;
  result.f_bfree = usage.limit > usage.used ? (usage.limit - usage.used) / kBlock : 0;
  result.f_bavail = result.f_bfree;
  result.f_files = 1u << 30;
  result.f_ffree = result.f_files;
  result.f_namemax = 255;
  reply([&](fuse_req_t r) { return fuse_reply_statfs(r, &result); });
}

void DriveFileSystem::replyBuffer(FuseReply& reply, const std::string& value, size_t size) {
  if (size == 0) return reply([&](fuse_req_t r) { return fuse_reply_xattr(r, value.size()); });
  if (size < value.size()) return reply.error(ERANGE);
  reply([&](fuse_req_t r) { return fuse_reply_buf(r, value.data(), value.size()); });
}

void DriveFileSystem::getxattr(FuseReply& reply, fuse_ino_t ino, const std::string& name,
                               size_t size) {
  const auto value = xattrValue(replica_, existing(ino), name);
  if (!value) return reply.error(ENODATA);
  replyBuffer(reply, *value, size);
}

// Asked for every entry `ls -l` shows: answered from memory, as the kernel only asks about
// inodes it holds.
void DriveFileSystem::listxattr(FuseReply& reply, fuse_ino_t, size_t size) {
  replyBuffer(reply, xattrNames(), size);
}

void DriveFileSystem::setxattr(FuseReply& reply, fuse_ino_t ino, const std::string& name,
                               const std::string& value) {
  if (name != kActionXattr) {
    // A copy brings these along from the file it was made of, out of the drive and back in:
    // shown from the item, they stay as they are, and the copy goes on.
    return reply.error(std::string_view(name).starts_with(kXattrPrefix) ? 0 : ENOTSUP);
  }
  // Keeping a large folder offline downloads all of it: the program may stop waiting.
  awaitUnlessInterrupted(
      reply, [this, key = existing(ino).key, value] { performNamedAction(replica_, key, value); });
  reply.error(0);
}

}  // namespace drive::mount
