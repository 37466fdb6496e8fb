#pragma once

#include <httplib.h>

#include <atomic>
#include <set>
#include <thread>

#include "platform/thread_annotations.h"

namespace drive::reference {

// An HTTP/1.1 server on 127.0.0.1 tuned for keep-alive clients, run on its own thread.
class LoopbackServer : public httplib::Server {
 public:
  LoopbackServer();
  ~LoopbackServer() override;

  // Binds (0: an ephemeral port) and starts serving; the port, or -1 when it cannot bind.
  int start(int port);
  void stopServing();

  // Closes the connection that carried the request, before any answer is written.
  static void dropConnection(const httplib::Request& request);

 private:
  std::thread thread_;
  int port_ = -1;
  fp::Mutex mutex_;
  // Remote ports of the connections whose request is being answered.
  std::multiset<int> busyPorts_ GUARDED_BY(mutex_);
  std::atomic<bool> listening_ = false;
};

}  // namespace drive::reference
