#include "mount/mount_session.h"

#include <sys/resource.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "mount/mount_error.h"
#include "mount/mount_log.h"

namespace drive::mount {
namespace {

constexpr unsigned kMaxRequestThreads = 128;

std::string mountOptions(const MountOptions& options) {
  std::string text = "fsname=pralodrive,subtype=pralodrive,default_permissions";
  if (options.allowOther) text += ",allow_other";
  return text;
}

// Every file a program holds open through the mount is a descriptor of this process: the usual
// soft limit of 1,024 would fail programs that hold many, however high their own limit.
void raiseOpenFileLimit() {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= limit.rlim_max) return;
  limit.rlim_cur = limit.rlim_max;
  if (::setrlimit(RLIMIT_NOFILE, &limit) != 0) {
    mountLog().error("cannot raise the limit of open files; programs may get EIO");
  }
}

}  // namespace

MountSession::MountSession(replica::Replica& replica, const MountOptions& options)
    : options_(options),
      fileSystem_(std::make_unique<DriveFileSystem>(replica, Owner{::getuid(), ::getgid()})) {
  if (!std::filesystem::is_directory(options.mountpoint)) {
    throw MountError(options.mountpoint.string() + " is not a folder.");
  }
  std::string program = "pralodrive", dashO = "-o", mountText = mountOptions(options);
  std::vector<char*> argv = {program.data(), dashO.data(), mountText.data()};
  fuse_args args = FUSE_ARGS_INIT(static_cast<int>(argv.size()), argv.data());
  session_ = fuse_session_new(&args, &DriveFileSystem::operations(), sizeof(fuse_lowlevel_ops),
                              fileSystem_.get());
  fuse_opt_free_args(&args);
  if (!session_) throw MountError("cannot start a FUSE session (is /dev/fuse there?).");
  if (fuse_session_mount(session_, options.mountpoint.c_str()) != 0) {
    fuse_session_destroy(session_);
    throw MountError("cannot mount at " + options.mountpoint.string() + ".");
  }
  mounted_ = true;
  raiseOpenFileLimit();
  fileSystem_->invalidations().start(session_);
}

MountSession::~MountSession() {
  unmount();
  fuse_session_destroy(session_);
}

void MountSession::run(bool handleSignals) {
  if (handleSignals && fuse_set_signal_handlers(session_) != 0) {
    mountLog().error("cannot handle signals; Ctrl-C will not unmount cleanly");
    handleSignals = false;
  }
  // Requests wait for the service (downloads, first listings): with libfuse's default of ten
  // threads, ten of them would leave none to read the next request, an interrupt among them.
  const std::unique_ptr<fuse_loop_config, decltype(&fuse_loop_cfg_destroy)> config(
      fuse_loop_cfg_create(), &fuse_loop_cfg_destroy);
  fuse_loop_cfg_set_clone_fd(config.get(), 0);
  fuse_loop_cfg_set_idle_threads(config.get(), 10);
  fuse_loop_cfg_set_max_threads(config.get(), kMaxRequestThreads);
  fuse_session_loop_mt(session_, config.get());
  if (handleSignals) fuse_remove_signal_handlers(session_);
  unmount();
}

void MountSession::stop() {
  fuse_session_exit(session_);
  // The loop notices only when a request arrives: make one the kernel never answers itself.
  struct statvfs ignored {};
  ::statvfs(options_.mountpoint.c_str(), &ignored);
}

void MountSession::unmount() {
  if (!mounted_) return;
  mounted_ = false;
  fileSystem_->flushOpenFiles();
  fuse_session_unmount(session_);
  fileSystem_->invalidations().stop();
}

}  // namespace drive::mount
