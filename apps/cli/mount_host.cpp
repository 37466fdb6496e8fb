#include "cli/mount_host.h"

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <iostream>

#include "extension/file_provider_extension.h"
#include "mount/mount_error.h"
#include "mount/mount_lock.h"
#include "mount/mount_session.h"
#include "platform/system_log.h"
#include "replica/host_lock.h"
#include "replica/replica.h"

namespace drive::cli {
namespace {

replica::ReplicaOptions optionsFor(const MountCommand& command) {
  auto options = replica::ReplicaOptions::defaults();
  options.pollInterval = std::chrono::seconds(std::max<long>(1, std::lround(command.pollSeconds)));
  if (command.cacheLimit) options.storeLimit = parseSize(*command.cacheLimit).value_or(0);
  return options;
}

// Tells the waiting terminal how the start went: an empty message means mounted.
using Report = std::function<void(const std::string& problem)>;

int serve(const MountCommand& command, mount::MountLock& lock, const Report& report,
          std::ostream& out) {
  const auto options = optionsFor(command);
  lock.recordOwner();
  replica::HostLock host(options.stateDirectory);
  if (!host.held()) {
    report("Another pralodrive process is syncing this drive; try again when it ends.");
    return 1;
  }
  FileProviderExtension extension({"eu.vantrel.drive", "PraloDrive"});
  replica::Replica replica(extension, options);
  const auto folder = std::filesystem::absolute(command.folder).lexically_normal();
  mount::MountSession session(replica, {folder, command.allowOther});
  try {
    replica.start();
  } catch (const replica::ReplicaError& error) {
    // Offline: what the replica knows is still there to use.
    out << "pralodrive: " << error.what() << " Showing what this machine has.\n";
  }
  report("");
  session.run(true);
  replica.stop();
  const auto queued = replica::readStatus(options).queue.size();
  out << "Unmounted " << folder.string() << "; " << queued << (queued == 1 ? " change" : " changes")
      << " saved to send.\n";
  return 0;
}

// The drive's own errors speak to the user; anything else goes to the log, not to the screen.
std::string userText(const std::exception& error) {
  if (dynamic_cast<const mount::MountError*>(&error) ||
      dynamic_cast<const replica::ReplicaError*>(&error)) {
    return error.what();
  }
  fp::Logger("eu.vantrel.drive", "mount").error(error.what());
  return "the mount stopped on an unexpected error; the log has the details.";
}

// Forks; the parent waits for the child's report on a pipe and prints it.
int serveInBackground(const MountCommand& command, mount::MountLock& lock, std::ostream& out,
                      std::ostream& err) {
  int pipeFds[2];
  if (::pipe(pipeFds) != 0) throw mount::MountError("cannot start the mount process.");
  out.flush();
  err.flush();
  const pid_t child = ::fork();
  if (child < 0) throw mount::MountError("cannot start the mount process.");
  if (child > 0) {
    lock.leaveToChild();
    ::close(pipeFds[1]);
    std::string problem;
    char buffer[512];
    ssize_t got = 0;
    bool reported = false;
    while ((got = ::read(pipeFds[0], buffer, sizeof buffer)) > 0) {
      reported = true;
      problem.append(buffer, static_cast<std::size_t>(got));
    }
    ::close(pipeFds[0]);
    if (reported && problem == "\n") {
      out << "Mounted the drive at " << command.folder << ". Unmount with: pralodrive unmount "
          << command.folder << "\n";
      return 0;
    }
    err << "pralodrive: " << (reported ? problem : "the mount process ended early.") << "\n";
    return 1;
  }
  ::close(pipeFds[0]);
  ::setsid();
  const Report report = [fd = pipeFds[1]](const std::string& problem) {
    const auto text = problem.empty() ? std::string("\n") : problem;
    if (::write(fd, text.data(), text.size()) < 0) return;
    ::close(fd);
    const int null = ::open("/dev/null", O_RDWR);
    ::dup2(null, STDIN_FILENO);
    ::dup2(null, STDOUT_FILENO);
    // With --verbose the log keeps going where the user sent it.
    if (!fp::SystemLog::mirrorsToStderr()) ::dup2(null, STDERR_FILENO);
  };
  try {
    std::_Exit(serve(command, lock, report, std::cout));
  } catch (const std::exception& error) {
    report(userText(error));
  }
  std::_Exit(1);
}

}  // namespace

int runMountHost(const MountCommand& command, std::ostream& out, std::ostream& err) {
  if (!std::filesystem::exists("/dev/fuse")) {
    err << "pralodrive: FUSE is not available here (no /dev/fuse).\n";
    return 1;
  }
  try {
    const auto folder = std::filesystem::absolute(command.folder).lexically_normal();
    mount::MountLock lock(optionsFor(command).stateDirectory, folder);
    if (!command.foreground) return serveInBackground(command, lock, out, err);
    return serve(
        command, lock,
        [&out, &folder](const std::string& problem) {
          if (problem.empty())
            out << "Mounted the drive at " << folder.string() << std::endl;
          else
            throw mount::MountError(problem);
        },
        out);
  } catch (const std::exception& error) {
    err << "pralodrive: " << userText(error) << "\n";
    return 1;
  }
}

}  // namespace drive::cli
