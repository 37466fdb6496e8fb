#include "reference/stop_signals.h"

#include <pthread.h>

namespace drive::reference {

StopSignals::StopSignals() {
  sigemptyset(&signals_);
  sigaddset(&signals_, SIGINT);
  sigaddset(&signals_, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
}

void StopSignals::wait() const {
  int received = 0;
  sigwait(&signals_, &received);
}

}  // namespace drive::reference
