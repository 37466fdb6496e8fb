#pragma once

#include <functional>
#include <future>
#include <memory>
#include <string>

#include "mount/access_times.h"
#include "mount/directory_snapshot.h"
#include "mount/file_attributes.h"
#include "mount/fuse_reply.h"
#include "mount/invalidation_queue.h"
#include "mount/kernel_names.h"
#include "mount/open_files.h"
#include "platform/patient_wait.h"
#include "platform/task_runner.h"
#include "replica/replica.h"

namespace drive::mount {

// How long the kernel keeps entries and attributes: long, because the invalidation queue
// tells it of every change it did not make itself.
inline constexpr double kCacheTimeout = 300.0;

// The drive as a libfuse low-level file system: inodes are the replica's item keys, contents
// are the content store's copies, and every change is handed to the replica, which answers
// at once and carries it to the service later.
class DriveFileSystem {
 public:
  DriveFileSystem(replica::Replica& replica, Owner owner);
  ~DriveFileSystem();

  // The operations table; each request's userdata must be this object.
  static const fuse_lowlevel_ops& operations();

  InvalidationQueue& invalidations() { return *invalidations_; }
  // Hands every write not yet handed over to the replica (before an unmount).
  void flushOpenFiles();
  // The kernel no longer holds the inode (it answers no request).
  void forget(fuse_ino_t ino) { names_.forget(ino); }

  // --- Requests, each answering `reply` exactly once (the guard sees to that on a throw).
  void lookup(FuseReply& reply, fuse_ino_t parent, const std::string& name);
  void getattr(FuseReply& reply, fuse_ino_t ino, fuse_file_info* fi);
  void setattr(FuseReply& reply, fuse_ino_t ino, const struct stat& attributes, int toSet,
               fuse_file_info* fi);
  void opendir(FuseReply& reply, fuse_ino_t ino, fuse_file_info* fi);
  void readdir(FuseReply& reply, fuse_ino_t ino, size_t size, off_t offset, fuse_file_info* fi,
               bool plus);
  void releasedir(FuseReply& reply, fuse_file_info* fi);
  void statfs(FuseReply& reply);

  void open(FuseReply& reply, fuse_ino_t ino, fuse_file_info* fi);
  void create(FuseReply& reply, fuse_ino_t parent, const std::string& name, fuse_file_info* fi);
  void read(FuseReply& reply, size_t size, off_t offset, fuse_file_info* fi);
  void write(FuseReply& reply, fuse_ino_t ino, const char* data, size_t size, off_t offset,
             fuse_file_info* fi);
  void flush(FuseReply& reply, fuse_file_info* fi);
  void release(FuseReply& reply, fuse_file_info* fi);

  void mkdir(FuseReply& reply, fuse_ino_t parent, const std::string& name);
  void mknod(FuseReply& reply, fuse_ino_t parent, const std::string& name, mode_t mode);
  void unlink(FuseReply& reply, fuse_ino_t parent, const std::string& name, bool folder);
  void rename(FuseReply& reply, fuse_ino_t parent, const std::string& name, fuse_ino_t newParent,
              const std::string& newName, unsigned int flags);

  void getxattr(FuseReply& reply, fuse_ino_t ino, const std::string& name, size_t size);
  void listxattr(FuseReply& reply, fuse_ino_t ino, size_t size);
  void setxattr(FuseReply& reply, fuse_ino_t ino, const std::string& name,
                const std::string& value);

 private:
  // The item behind an inode (after a save by rename, the original it replaced).
  replica::ItemInfo existing(fuse_ino_t ino);
  replica::ItemInfo childOf(fuse_ino_t parent, const std::string& name);
  // The open handle of a file no longer on the drive: the request's own, else any of the
  // inode's. Throws notFound when none is open.
  std::shared_ptr<OpenFile> unlinkedOpenFile(fuse_ino_t ino, const fuse_file_info* fi);
  struct stat attributes(const replica::ItemInfo& info) const;
  fuse_entry_param entry(const replica::ItemInfo& info);
  fuse_entry_param entry(replica::ItemKey parent, const std::string& name,
                         const struct stat& attributes);
  void replyEntry(FuseReply& reply, const replica::ItemInfo& info);
  void replyBuffer(FuseReply& reply, const std::string& value, size_t size);
  // Hands a handle's writes to the replica; an item removed meanwhile has nothing to hand.
  // The handle writes its item: the replica holds its contents back until handOver.
  void markWritten(OpenFile& file);
  void changedThrough(fuse_ino_t ino, replica::ItemKey key);
  void handOver(OpenFile& file);
  void truncate(const replica::ItemInfo& info, off_t size, fuse_file_info* fi);
  void setattrUnlinked(FuseReply& reply, fuse_ino_t ino, const struct stat& wanted, int toSet,
                       fuse_file_info* fi);
  void openHandle(fuse_file_info* fi, const replica::ItemInfo& info, int flags,
                  const std::function<bool()>& abandoned = {});
  void renameOver(const replica::ItemInfo& source, const replica::ItemInfo& target);
  std::future<void> startListing(replica::ItemKey key, std::shared_ptr<DirectorySnapshot> snapshot);
  // Runs `work` off the request's thread and waits for it, unless the program gives up first
  // (ReplicaError interrupted); `work` then finishes alone, so it holds nothing of the request.
  template <class Work>
  auto awaitUnlessInterrupted(const FuseReply& reply, Work work) -> decltype(work());

  replica::Replica& replica_;
  Owner owner_;
  timespec mountedAt_{};
  KernelNames names_;
  OpenFiles files_;
  AccessTimes accessed_;
  std::shared_ptr<InvalidationQueue> invalidations_;
  // What waits for the service on a request's behalf (first listings, the lookups behind them,
  // actions), off the request threads, so that a program may give up waiting. Last, so that it
  // ends that work while what it uses is still there.
  fp::TaskRunner patientWork_;
};

// `result` once it is ready; throws ReplicaError(interrupted) when the program gives up first.
template <class T>
std::future<T> waitUnlessInterrupted(const FuseReply& reply, std::future<T> result) {
  if (!fp::waitUnlessAbandoned(result, [&reply] { return reply.interrupted(); })) {
    throw replica::ReplicaError(replica::ReplicaError::Kind::interrupted,
                                "Interrupted; the service's answer is taken when it comes.");
  }
  return result;
}

template <class Work>
auto DriveFileSystem::awaitUnlessInterrupted(const FuseReply& reply, Work work)
    -> decltype(work()) {
  auto task = std::make_shared<std::packaged_task<decltype(work())()>>(std::move(work));
  auto result = task->get_future();
  patientWork_.post([task] { (*task)(); });
  return waitUnlessInterrupted(reply, std::move(result)).get();
}

// How a replica failure reaches a program.
int errnoOf(const replica::ReplicaError& error);

}  // namespace drive::mount
