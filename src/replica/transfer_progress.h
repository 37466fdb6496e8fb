#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <string>
#include <thread>

#include "platform/thread_annotations.h"

namespace drive::replica {

// A line on a terminal for a transfer that takes a while: the name, its bytes and the time so
// far, then the rate when done. Silent for quick transfers and when there is no terminal.
class TransferProgress {
 public:
  // `fd` is the terminal's descriptor, -1 for none.
  TransferProgress(int fd, std::string verb, std::string name, std::int64_t bytes);
  ~TransferProgress();
  TransferProgress(const TransferProgress&) = delete;
  TransferProgress& operator=(const TransferProgress&) = delete;

 private:
  void tick();
  void write(const std::string& line) const;

  int fd_;
  std::string verb_;
  std::string name_;
  std::int64_t bytes_;
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  fp::Mutex mutex_;
  std::condition_variable done_;
  bool finished_ GUARDED_BY(mutex_) = false;
  bool shown_ GUARDED_BY(mutex_) = false;
  std::thread ticker_;
};

// "12.5 MiB", "980 B".
std::string byteText(double bytes);

}  // namespace drive::replica
