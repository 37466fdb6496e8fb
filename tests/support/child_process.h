#pragma once

#include <sys/types.h>

#include <functional>

namespace drive::test_support {

// Runs `body` in a forked copy of the test process: a real second process for the file locks
// shared with the companion app. The body's result is the child's exit status; the child
// never returns into the test.
class ChildProcess {
 public:
  explicit ChildProcess(const std::function<int()>& body);
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // The exit status, or -1 when the child did not exit normally.
  int wait();

 private:
  pid_t pid_ = -1;
};

// A one-way, one-byte signal between processes.
class Signal {
 public:
  Signal();
  ~Signal();
  Signal(const Signal&) = delete;
  Signal& operator=(const Signal&) = delete;

  void raise();
  // Blocks until raised; false when the pipe failed.
  bool await();

 private:
  int fds_[2] = {-1, -1};
};

}  // namespace drive::test_support
