#pragma once

#include <signal.h>

namespace drive::reference {

// SIGINT and SIGTERM taken in an orderly way: blocked from construction in this thread and
// every thread it starts afterwards (so construct it before any), then awaited with wait().
class StopSignals {
 public:
  StopSignals();
  // Blocks until one of them arrives.
  void wait() const;

 private:
  sigset_t signals_;
};

}  // namespace drive::reference
