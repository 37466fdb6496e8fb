#include "platform/task_runner.h"

#include <exception>
#include <utility>

#include "platform/system_log.h"
#include "platform/thread_annotations.h"

namespace fp {

TaskRunner::~TaskRunner() {
  {
    MutexLock lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_all();
  for (auto& worker : workers_)
    worker.join();
}

TaskRunner& TaskRunner::shared() {
  static TaskRunner runner;
  return runner;
}

namespace {

// The tasks that runOnCaller keeps for its thread, while its call runs.
struct CallerTasks {
  const TaskRunner* runner = nullptr;
  std::deque<std::function<void()>> tasks;
};
thread_local CallerTasks* callerTasks = nullptr;

}  // namespace

void TaskRunner::run(std::function<void()>& task) {
  try {
    task();
  } catch (const std::exception& e) {
    Logger("eu.vantrel.drive", "tasks").error(std::string("task failed: ") + e.what());
  } catch (...) {
    Logger("eu.vantrel.drive", "tasks").error("task failed");
  }
  task = nullptr;
}

void TaskRunner::runOnCaller(const std::function<void()>& call) {
  CallerTasks kept{this, {}};
  CallerTasks* const outer = std::exchange(callerTasks, &kept);
  std::exception_ptr failure;
  try {
    call();
  } catch (...) {
    failure = std::current_exception();
  }
  // Whatever the tasks post goes to workers; so do all but the first task, which might wait
  // for the others. They run even when the call failed: they complete its requests.
  callerTasks = nullptr;
  if (!kept.tasks.empty()) {
    auto first = std::move(kept.tasks.front());
    kept.tasks.pop_front();
    for (auto& task : kept.tasks)
      post(std::move(task));
    runCounted(first);
  }
  callerTasks = outer;
  if (failure) std::rethrow_exception(failure);
}

// A task run on its caller counts as busy, so that waitIdle waits for it too.
void TaskRunner::runCounted(std::function<void()>& task) {
  {
    MutexLock lock(mutex_);
    ++busy_;
  }
  run(task);
  MutexLock lock(mutex_);
  --busy_;
  if (queue_.empty() && busy_ == 0) idle_.notify_all();
}

void TaskRunner::post(std::function<void()> task) {
  if (callerTasks && callerTasks->runner == this) {
    callerTasks->tasks.push_back(std::move(task));
    return;
  }
  MutexLock lock(mutex_);
  queue_.push_back(std::move(task));
  if (waiting_ < queue_.size()) {
    workers_.emplace_back([this] { work(); });
    return;
  }
  // Woken after the unlock: a worker woken under the lock would only sleep again on it.
  lock.unlock();
  wake_.notify_one();
}

void TaskRunner::waitIdle() {
  MutexLock lock(mutex_);
  lock.wait(idle_, [this]() REQUIRES(mutex_) { return queue_.empty() && busy_ == 0; });
}

void TaskRunner::work() {
  MutexLock lock(mutex_);
  for (;;) {
    ++waiting_;
    lock.wait(wake_, [this]() REQUIRES(mutex_) { return stopping_ || !queue_.empty(); });
    --waiting_;
    if (queue_.empty()) return;  // stopping
    auto task = std::move(queue_.front());
    queue_.pop_front();
    ++busy_;
    lock.unlock();
    run(task);
    lock.lock();
    --busy_;
    if (queue_.empty() && busy_ == 0) idle_.notify_all();
  }
}

}  // namespace fp
