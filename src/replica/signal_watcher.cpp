#include "replica/signal_watcher.h"

#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace drive::replica {

SignalWatcher::SignalWatcher(const std::filesystem::path& directory, std::vector<std::string> names,
                             std::function<void()> changed)
    : names_(std::move(names)), changed_(std::move(changed)) {
  std::error_code error;
  std::filesystem::create_directories(directory, error);
  inotify_ = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
  if (inotify_ < 0 || pipe(stopPipe_) != 0) return;
  // The companion replaces its files by rename; writes in place close the file.
  watch_ = inotify_add_watch(inotify_, directory.c_str(), IN_CLOSE_WRITE | IN_MOVED_TO);
  if (watch_ >= 0) thread_ = std::thread([this] { run(); });
}

SignalWatcher::~SignalWatcher() {
  if (thread_.joinable()) {
    const char stop = 1;
    if (::write(stopPipe_[1], &stop, 1) == 1)
      thread_.join();
    else
      thread_.detach();
  }
  for (const int fd : {inotify_, stopPipe_[0], stopPipe_[1]}) {
    if (fd >= 0) close(fd);
  }
}

bool SignalWatcher::isWatched(std::string_view name) const {
  return std::find(names_.begin(), names_.end(), name) != names_.end();
}

void SignalWatcher::run() {
  alignas(inotify_event) char buffer[4096];
  for (;;) {
    std::array<pollfd, 2> fds{pollfd{inotify_, POLLIN, 0}, pollfd{stopPipe_[0], POLLIN, 0}};
    if (poll(fds.data(), fds.size(), -1) < 0) continue;
    if (fds[1].revents != 0) return;
    const auto length = read(inotify_, buffer, sizeof buffer);
    bool relevant = false;
    for (ssize_t offset = 0; offset < length;) {
      const auto* event = reinterpret_cast<const inotify_event*>(buffer + offset);
      if (event->len > 0 && isWatched(event->name)) relevant = true;
      offset += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
    }
    if (relevant) changed_();
  }
}

}  // namespace drive::replica
