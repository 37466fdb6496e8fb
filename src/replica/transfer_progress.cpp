#include "replica/transfer_progress.h"

#include <unistd.h>

#include <cstdio>

namespace drive::replica {
namespace {

constexpr auto kQuiet = std::chrono::milliseconds(800);
constexpr auto kEvery = std::chrono::milliseconds(500);

double secondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

std::string byteText(double bytes) {
  static const char* units[] = {"B", "KiB", "MiB", "GiB", "TiB"};
  int unit = 0;
  while (bytes >= 1024 && unit < 4) {
    bytes /= 1024;
    ++unit;
  }
  char text[32];
  std::snprintf(text, sizeof text, unit == 0 ? "%.0f %s" : "%.1f %s", bytes, units[unit]);
  return text;
}

TransferProgress::TransferProgress(int fd, std::string verb, std::string name, std::int64_t bytes)
    : fd_(fd), verb_(std::move(verb)), name_(std::move(name)), bytes_(bytes) {
  if (fd_ >= 0 && isatty(fd_)) ticker_ = std::thread([this] { tick(); });
}

TransferProgress::~TransferProgress() {
  if (!ticker_.joinable()) return;
  {
    fp::MutexLock lock(mutex_);
    finished_ = true;
  }
  done_.notify_all();
  ticker_.join();
  if (!shown_) return;
  const double seconds = secondsSince(start_);
  write("\r\033[K" + verb_ + " " + name_ + ": " + byteText(static_cast<double>(bytes_)) + " in " +
        std::to_string(static_cast<int>(seconds)) + " s (" +
        byteText(static_cast<double>(bytes_) / std::max(seconds, 0.001)) + "/s)\n");
}

void TransferProgress::tick() {
  fp::MutexLock lock(mutex_);
  const auto finished = [this]() REQUIRES(mutex_) { return finished_; };
  if (lock.waitFor(done_, kQuiet, finished)) return;
  do {
    shown_ = true;
    const double seconds = secondsSince(start_);
    write("\r\033[K" + verb_ + " " + name_ + ": " + byteText(static_cast<double>(bytes_)) + ", " +
          std::to_string(static_cast<int>(seconds)) + " s");
  } while (!lock.waitFor(done_, kEvery, finished));
}

void TransferProgress::write(const std::string& line) const {
  if (::write(fd_, line.data(), line.size()) < 0) {
    // A terminal that went away takes the progress line with it; the transfer goes on.
  }
}

}  // namespace drive::replica
