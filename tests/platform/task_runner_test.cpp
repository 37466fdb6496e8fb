#include "platform/task_runner.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace drive {
namespace {

// A caller that waits for its requests runs their tasks itself, after the requests returned;
// whatever those tasks post, and whatever other threads post meanwhile, goes to workers.
TEST(TaskRunner, ACallerRunsTheTasksItsCallPostedAndOnlyThose) {
  fp::TaskRunner runner;
  const auto caller = std::this_thread::get_id();
  std::vector<std::string> steps;
  std::thread::id nestedOn;
  runner.runOnCaller([&] {
    runner.post([&] {
      EXPECT_EQ(std::this_thread::get_id(), caller);
      steps.push_back("first");
      runner.post([&] { nestedOn = std::this_thread::get_id(); });
    });
    runner.post([&] { steps.push_back("second"); });
    steps.push_back("returned");
  });
  runner.waitIdle();
  EXPECT_EQ(steps, (std::vector<std::string>{"returned", "first", "second"}));
  EXPECT_NE(nestedOn, caller);
  EXPECT_NE(nestedOn, std::thread::id());

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
