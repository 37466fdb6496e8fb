#include "mount/mount_lock.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <thread>

#include "mount/mount_error.h"
#include "mount/mount_log.h"

extern char** environ;

namespace drive::mount {
namespace {

std::filesystem::path lockPath(const std::filesystem::path& stateDirectory) {
  return stateDirectory / "mount.lock";
}

std::string holderOf(const std::filesystem::path& path) {
  std::ifstream in(path);
  std::string pid, folder;
  std::getline(in, pid);
  std::getline(in, folder);
  if (folder.empty()) return "another process";
  return folder + " (process " + pid + ")";
}

// Called with the lock held: a drive mounted there now has no process behind it, even
// when the kernel has not noticed yet.
void detachIfStale(const std::filesystem::path& folder) {
  while (!folder.empty() && (isStaleMount(folder) || mountCount(folder) > 0)) {
    mountLog().info("detaching the mount left by a crash at " + folder.string());
    unmountFolder(folder, true);
  }
}

}  // namespace

bool isStaleMount(const std::filesystem::path& folder) {
  struct stat status {};
  return ::stat(folder.c_str(), &status) != 0 && errno == ENOTCONN;
}

int mountCount(const std::filesystem::path& folder) {
  std::ifstream mounts("/proc/self/mounts");
  std::string device, point, type, rest;
  int count = 0;
  while (mounts >> device >> point >> type && std::getline(mounts, rest)) {
    // Spaces in mount points come escaped as \040.
    for (std::size_t at; (at = point.find("\\040")) != std::string::npos;)
      point.replace(at, 4, " ");
    if (point == folder.string() && type == "fuse.pralodrive") ++count;
  }
  return count;
}

void unmountFolder(const std::filesystem::path& folder, bool lazy) {
  std::string program = "fusermount3";
  std::string flags = lazy ? "-uz" : "-u";
  std::string target = folder.string();
  char* argv[] = {program.data(), flags.data(), target.data(), nullptr};
  pid_t child = 0;
  if (::posix_spawnp(&child, program.c_str(), nullptr, nullptr, argv, environ) != 0) {
    throw MountError("cannot run fusermount3; is the fuse3 package installed?");
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    throw MountError("fusermount3 could not unmount " + target + ".");
  }
}

MountLock::MountLock(const std::filesystem::path& stateDirectory,
                     const std::filesystem::path& mountpoint)
    : mountpoint_(mountpoint) {
  std::filesystem::create_directories(stateDirectory);
  const auto path = lockPath(stateDirectory);
  fd_ = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (fd_ < 0) throw MountError("cannot open " + path.string() + ".");
  if (::flock(fd_, LOCK_EX | LOCK_NB) != 0) {
    ::close(fd_);
    throw MountError("The drive is already mounted at " + holderOf(path) +
                     ". Unmount it first with: pralodrive unmount FOLDER");
  }
  // The lock is free, so whoever wrote this file is gone: its folder may be a dead mount.
  std::ifstream previous(path);
  std::string pid, folder;
  std::getline(previous, pid);
  std::getline(previous, folder);
  detachIfStale(folder);
  detachIfStale(mountpoint);
  recordOwner();
}

MountLock::~MountLock() {
  if (fd_ < 0) return;
  if (::ftruncate(fd_, 0) != 0) mountLog().error("cannot clear the mount lock");
  ::close(fd_);
}

void MountLock::leaveToChild() {
  ::close(fd_);
  fd_ = -1;
}

void MountLock::recordOwner() {
  std::ostringstream text;
  text << ::getpid() << "\n" << mountpoint_.string() << "\n";
  const auto bytes = text.str();
  if (::ftruncate(fd_, 0) != 0 || ::pwrite(fd_, bytes.data(), bytes.size(), 0) < 0) {
    mountLog().error("cannot record the mount in its lock file");
  }
}

bool MountLock::waitUntilFree(const std::filesystem::path& stateDirectory,
                              std::chrono::milliseconds timeout) {
  const int fd = ::open(lockPath(stateDirectory).c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return true;
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  bool free = false;
  while (!(free = ::flock(fd, LOCK_SH | LOCK_NB) == 0) &&
         std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  ::close(fd);
  return free;
}

}  // namespace drive::mount
