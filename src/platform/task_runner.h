#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

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

  // Calls `call`, which makes requests that post their tasks and return at once, then runs
  // the tasks it posted on this thread, in order, instead of handing them to workers. For a
  // caller that would only block until those tasks report back: it saves two thread
  // switches a request. Tasks that they post in turn go to workers as usual.
  void runOnCaller(const std::function<void()>& call);

 private:
  void work();
  static void run(std::function<void()>& task);

  std::mutex mutex_;
  std::condition_variable wake_;
  std::condition_variable idle_;
  std::deque<std::function<void()>> queue_;
  std::vector<std::thread> workers_;
  std::size_t waiting_ = 0;
  std::size_t busy_ = 0;
  bool stopping_ = false;
};

}  // namespace fp
