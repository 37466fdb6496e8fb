#include "support/child_process.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

namespace drive::test_support {

ChildProcess::ChildProcess(const std::function<int()>& body) : pid_(::fork()) {
  // _exit: the child must not run the test framework's or the sanitizers' exit handlers.
  if (pid_ == 0) ::_exit(body());
}

ChildProcess::~ChildProcess() {
  if (pid_ > 0) wait();
}

int ChildProcess::wait() {
  if (pid_ <= 0) return -1;
  int status = 0;
  while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
  }
  pid_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

Signal::Signal() {
  if (::pipe(fds_) != 0) fds_[0] = fds_[1] = -1;
}

Signal::~Signal() {
  for (const int fd : fds_)
    if (fd >= 0) ::close(fd);
}

void Signal::raise() {
  const char byte = 1;
  [[maybe_unused]] const auto written = ::write(fds_[1], &byte, 1);
}

bool Signal::await() {
  char byte = 0;
  ssize_t got = 0;
  while ((got = ::read(fds_[0], &byte, 1)) < 0 && errno == EINTR) {
  }
  return got == 1;
}

}  // namespace drive::test_support
