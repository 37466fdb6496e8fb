#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

namespace fp {

// Thread-safe stand-in for NSProgress: the platform reads it while a task updates it.
class Progress {
 public:
  static std::shared_ptr<Progress> withTotalUnitCount(int64_t total) {
    return std::shared_ptr<Progress>(new Progress(total));
  }

  int64_t totalUnitCount() const { return total_.load(); }
  int64_t completedUnitCount() const { return completed_.load(); }
  void setCompletedUnitCount(int64_t completed) { completed_.store(completed); }
  bool isFinished() const { return completed_.load() >= total_.load(); }

 private:
  explicit Progress(int64_t total) : total_(total) {}
  std::atomic<int64_t> total_;
  std::atomic<int64_t> completed_{0};
};

}  // namespace fp
