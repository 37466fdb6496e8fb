#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/thread_annotations.h"

namespace fp {

// Runs each task on its own worker, like a concurrent dispatch queue: a task never waits
// for a free thread, because bodies block on the network. Idle workers are reused.
class TaskRunner {
 public:
  TaskRunner() = default;
  ~TaskRunner();
  TaskRunner(const TaskRunner&) = delete;
  TaskRunner& operator=(const TaskRunner&) = delete;

  static TaskRunner& shared();

  void post(std::function<void()> task);
  // Blocks until nothing is queued or running.
  void waitIdle();

  // Calls `call`, which makes a request that posts its task and returns at once, then runs
  // that task on this thread instead of handing it to a worker. For a caller that would only
  // block until the task reports back: it saves two thread switches a request. Further tasks,
  // posted by the call or by the task, go to workers as usual.
  void runOnCaller(const std::function<void()>& call);

 private:
  void work();
  static void run(std::function<void()>& task);
  void runCounted(std::function<void()>& task);

  Mutex mutex_;
  std::condition_variable wake_;
  std::condition_variable idle_;
  std::deque<std::function<void()>> queue_ GUARDED_BY(mutex_);
  std::vector<std::thread> workers_ GUARDED_BY(mutex_);
  std::size_t waiting_ GUARDED_BY(mutex_) = 0;
  std::size_t busy_ GUARDED_BY(mutex_) = 0;
  bool stopping_ GUARDED_BY(mutex_) = false;
};

}  // namespace fp
