#include <linux/fs.h>
#include <sys/stat.h>

#include <cerrno>

#include "mount/drive_file_system.h"
#include "platform/scope_exit.h"

namespace drive::mount {
namespace {

using replica::ReplicaError;

void require(bool allowed, const std::string& refusal) {
  if (!allowed) throw ReplicaError(ReplicaError::Kind::refused, refusal);
}

}  // namespace

void DriveFileSystem::mkdir(FuseReply& reply, fuse_ino_t parent, const std::string& name) {
  const auto folder = existing(parent);
  require(folder.may(fp::ItemCapability::writing), folder.filename + " is read-only.");
  replyEntry(reply, replica_.createFolder(folder.key, name));
}

void DriveFileSystem::mknod(FuseReply& reply, fuse_ino_t parent, const std::string& name,
                            mode_t mode) {
  // A drive holds files and folders only: no device node, FIFO or socket.
  if (!S_ISREG(mode)) return reply.error(EPERM);
  const auto folder = existing(parent);
  require(folder.may(fp::ItemCapability::writing), folder.filename + " is read-only.");
  replyEntry(reply, replica_.createFile(folder.key, name, false));
}

void DriveFileSystem::unlink(FuseReply& reply, fuse_ino_t parent, const std::string& name,
                             bool folder) {
  const auto info = childOf(parent, name);
  if (folder && !info.isFolder) return reply.error(ENOTDIR);
  if (!folder && info.isFolder) return reply.error(EISDIR);
  require(info.may(fp::ItemCapability::deleting), info.filename + " cannot be deleted.");
  // A folder never listed may still hold items on the service.
  if (folder && !replica_.children(info.key).empty()) return reply.error(ENOTEMPTY);
  replica_.remove(info.key);
  accessed_.forget(info.key);
  reply.error(0);
}

void DriveFileSystem::renameOver(const replica::ItemInfo& source, const replica::ItemInfo& target) {
  require(target.may(fp::ItemCapability::writing), target.filename + " is read-only.");
  // The new file's own item goes, its contents living on in the original.
  require(source.may(fp::ItemCapability::deleting), source.filename + " cannot be deleted.");
  require(source.syncMode != "pralo", source.filename + " opens in PRALO only.");
  // The original takes the new file's contents: they must be here first, and stay until then.
  replica_.holdCopy(source.key);
  const fp::ScopeExit unheld([&] { replica_.releaseCopy(source.key); });
  replica_.contents(source.key);
  replica_.replace(source.key, target.key);
  accessed_.forget(source.key);
  // The store's file moved with its inode: handles still writing it now write the original,
  // and hold its copy instead.
  files_.rekey(source.key, target.key, [&] {
    replica_.holdCopy(target.key);
    replica_.releaseCopy(source.key);
  });
  // The kernel moved the new file's inode to the name, as on any disk; it stands for the
  // original from now on, so the name is never known by two inodes whose sizes could differ.
  names_.alias(source.key, target.key);
  files_.dropCache(target.key);
  invalidations_->stale(target.key);
}

void DriveFileSystem::rename(FuseReply& reply, fuse_ino_t parent, const std::string& name,
                             fuse_ino_t newParent, const std::string& newName, unsigned int flags) {
  if (flags & RENAME_EXCHANGE || flags & ~(RENAME_NOREPLACE | RENAME_EXCHANGE)) {
    return reply.error(EINVAL);
  }
  const auto source = childOf(parent, name);
  const auto folder = existing(newParent);
  const auto target = replica_.child(folder.key, newName);
  if (target && target->key == source.key) return reply.error(0);
  if (target && (flags & RENAME_NOREPLACE)) return reply.error(EEXIST);
  if (target && source.isFolder != target->isFolder) {
    return reply.error(source.isFolder ? ENOTDIR : EISDIR);
  }
  if (target && !source.isFolder) {
    renameOver(source, *target);
    return reply.error(0);
  }
  // Every refusal comes before anything changes, as a failed rename changes nothing.
  require(newName == source.filename || source.may(fp::ItemCapability::renaming),
          source.filename + " cannot be renamed.");
  if (folder.key != source.parent) {
    require(source.may(fp::ItemCapability::reparenting), source.filename + " cannot be moved.");
    require(folder.may(fp::ItemCapability::writing), folder.filename + " is read-only.");
  }
  if (target) {
    require(target->may(fp::ItemCapability::deleting), target->filename + " cannot be deleted.");
    if (!replica_.children(target->key).empty()) return reply.error(ENOTEMPTY);
    replica_.remove(target->key);
  }
  const auto moved = replica_.rename(source.key, folder.key, newName);
  names_.told(moved.key, moved.parent, moved.filename);
  reply.error(0);
}

}  // namespace drive::mount
