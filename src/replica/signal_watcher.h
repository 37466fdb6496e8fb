#pragma once

#include <filesystem>
#include <functional>
#include <thread>

namespace drive::replica {

// Calls `changed` when the companion app rewrites one of its signal files in the app-group
// container (inotify), from its own thread.
class SignalWatcher {
 public:
  SignalWatcher(const std::filesystem::path& container, std::function<void()> changed);
  ~SignalWatcher();
  SignalWatcher(const SignalWatcher&) = delete;
  SignalWatcher& operator=(const SignalWatcher&) = delete;

  bool watching() const { return watch_ >= 0; }

 private:
  void run();

  std::function<void()> changed_;
  int inotify_ = -1;
  int watch_ = -1;
  int stopPipe_[2] = {-1, -1};
  std::thread thread_;
};

}  // namespace drive::replica
