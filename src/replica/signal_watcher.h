#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace drive::replica {

// Calls `changed` when one of the named files in a directory is rewritten (inotify), from its
// own thread: the companion app's signal files, a request of `pralodrive sync`.
class SignalWatcher {
 public:
  SignalWatcher(const std::filesystem::path& directory, std::vector<std::string> names,
                std::function<void()> changed);
  ~SignalWatcher();
  SignalWatcher(const SignalWatcher&) = delete;
  SignalWatcher& operator=(const SignalWatcher&) = delete;

  bool watching() const { return watch_ >= 0; }

 private:
  void run();
  bool isWatched(std::string_view name) const;

  std::vector<std::string> names_;
  std::function<void()> changed_;
  int inotify_ = -1;
  int watch_ = -1;
  int stopPipe_[2] = {-1, -1};
  std::thread thread_;
};

}  // namespace drive::replica
