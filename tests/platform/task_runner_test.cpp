#include "platform/task_runner.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace drive {
namespace {

// A caller that waits for its request runs the request's task itself, once the request has
// returned; anything else posted meanwhile goes to workers, so no task waits on another.
TEST(TaskRunner, ACallerRunsTheTaskOfItsRequestAndOnlyThat) {
  fp::TaskRunner runner;
  const auto caller = std::this_thread::get_id();
  std::vector<std::string> steps;
  std::thread::id nestedOn;
  std::thread::id secondOn;
  runner.runOnCaller([&] {
    runner.post([&] {
      EXPECT_EQ(std::this_thread::get_id(), caller);
      steps.push_back("task");
      runner.post([&] { nestedOn = std::this_thread::get_id(); });
    });
    runner.post([&] { secondOn = std::this_thread::get_id(); });
    steps.push_back("returned");
  });
  runner.waitIdle();
  EXPECT_EQ(steps, (std::vector<std::string>{"returned", "task"}));
  for (const auto& worker : {nestedOn, secondOn}) {
    EXPECT_NE(worker, caller);
    EXPECT_NE(worker, std::thread::id());
  }

  // A call that fails after posting still has its tasks run: they complete requests.
  bool ran = false;
  EXPECT_THROW(runner.runOnCaller([&] {
    runner.post([&] { ran = true; });
    throw std::runtime_error("refused");
  }),
               std::runtime_error);
  EXPECT_TRUE(ran);

  // Tasks that throw are logged, not passed on.
  EXPECT_NO_THROW(runner.runOnCaller([&] { runner.post([] { throw std::runtime_error("x"); }); }));
}

}  // namespace
}  // namespace drive
