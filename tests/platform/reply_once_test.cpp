#include "platform/reply_once.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/replicated_extension.h"
#include "support/log_lines.h"

namespace fp {
namespace {

using drive::test_support::LogLines;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

TEST(ReplyOnce, ADroppedReplyFailsAndASecondIsIgnoredEachLogged) {
  LogLines log;
  int calls = 0;
  Error seen;
  auto makeReply = [&] {
    return ReplyOnce<Error>(
        "deleteItem", [&](Error error) { ++calls, seen = error; },
        [](auto& reply, const PlatformError& error) { reply(error); });
  };
  { auto dropped = makeReply(); }
  EXPECT_EQ(calls, 1);
  ASSERT_TRUE(seen);
  EXPECT_EQ(seen->code(), CocoaErrorCode::fileReadUnknown);
  EXPECT_THAT(seen->localizedDescription(), HasSubstr("deleteItem ended without a reply"));
  EXPECT_THAT(log.errors(),
              ElementsAre("[reply] deleteItem ended without a reply; answered with an error."));

  auto reply = makeReply();
  auto moved = std::move(reply);  // the moved-from guard must neither reply nor log
  moved(std::nullopt);
  moved(std::nullopt);
  moved.fail(PlatformError(NSCocoaErrorDomain, 1));
  EXPECT_EQ(calls, 2);
  EXPECT_FALSE(seen);
  EXPECT_THAT(log.errors(),
              ElementsAre(HasSubstr("ended without a reply"),
                          "[reply] deleteItem replied twice; the second reply was ignored.",
                          "[reply] deleteItem replied twice; the second reply was ignored."));
}

TEST(ReplyOnce, AReplyMovedOverAnUnansweredOneAnswersTheFormer) {
  LogLines log;
  std::vector<std::string> answered;
  auto makeReply = [&](const std::string& request) {
    return ReplyOnce<Error>(
        request,
        [&answered, request](Error error) {
          answered.push_back(request + (error ? " failed" : " done"));
        },
        [](auto& reply, const PlatformError& error) { reply(error); });
  };
  auto first = makeReply("fetchContents");
  auto second = makeReply("createItem");
  first = std::move(second);
  EXPECT_THAT(answered, ElementsAre("fetchContents failed"));
  first(std::nullopt);
  EXPECT_THAT(answered, ElementsAre("fetchContents failed", "createItem done"));
  EXPECT_THAT(log.errors(), ElementsAre(HasSubstr("fetchContents ended without a reply")));
}

}  // namespace
}  // namespace fp
