#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "platform/thread_annotations.h"

namespace drive::test_support {

// A TCP listener on 127.0.0.1 that hands every connection to `serve` on its own thread: a
// peer that misbehaves below HTTP (garbage, silence, half an answer, a reset).
class RawServer {
 public:
  using Serve = std::function<void(RawServer& server, int fd)>;
  explicit RawServer(Serve serve);
  // Ends every connection and waits for the serving threads.
  ~RawServer();
  RawServer(const RawServer&) = delete;
  RawServer& operator=(const RawServer&) = delete;

  std::string url(const std::string& path = "/") const;

  // Reads what the client sent up to the end of its request head.
  static std::string readHead(int fd);
  static void send(int fd, const std::string& bytes);
  // Closes with a reset instead of an orderly end.
  void reset(int fd);
  // Waits `duration`, or less when the server is being destroyed.
  void pause(std::chrono::milliseconds duration);

 private:
  void acceptLoop();

  Serve serve_;
  int listener_ = -1;
  int port_ = 0;
  fp::Mutex mutex_;
  std::condition_variable stopped_;
  bool stopping_ GUARDED_BY(mutex_) = false;
  std::vector<int> connections_ GUARDED_BY(mutex_);
  std::vector<std::thread> threads_ GUARDED_BY(mutex_);
  std::thread acceptor_;
};

}  // namespace drive::test_support
