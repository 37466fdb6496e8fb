#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "actions/companion_client.h"
#include "app_group/disk_state.h"
#include "model/drive_api_error.h"
#include "platform/xpc_transaction.h"
#include "support/raw_server.h"
#include "support/service_fixture.h"

namespace drive {
namespace {

using ::testing::HasSubstr;
namespace calls = fp::BlockingCalls;

const std::string kPrefix = "eu.vantrel.drive.action.";

class CustomActionsTest : public test_support::ServiceTest {
 protected:
  fp::Error perform(const std::string& action, const std::vector<std::string>& ids) {
    auto error = calls::performAction(extension(), kPrefix + action, ids).error;
    fp::waitForXpcTransactions(std::chrono::seconds(30));
    return error;
  }
  std::vector<nlohmann::json> commands() { return service().finderActions(); }
};

TEST_F(CustomActionsTest, KeepOfflineAndOnlinePinTheWalkAndSendTheFilesFound) {
  const auto website = nodeIdentifier("Alex Morgan/Website Redesign");
  const auto brief = nodeIdentifier("Alex Morgan/Website Redesign/Brief.txt");
  const auto hero = idOf("Alex Morgan/Website Redesign/Hero Object.vtrobj");
  // The project reached twice is walked once.
  EXPECT_FALSE(perform("offline", {website, website}));
  const auto pinned = DriveDiskState::current().pinned;
  EXPECT_TRUE(pinned.contains(website.substr(5)));
  EXPECT_TRUE(pinned.contains(brief.substr(5)));
  EXPECT_FALSE(pinned.contains(hero));
  ASSERT_EQ(commands().size(), 1u);
  EXPECT_EQ(commands()[0],
            (nlohmann::json{{"action", "download"}, {"identifiers", {brief, brief}}}));
  EXPECT_EQ(service().companionRequests().back().header("X-Drive-Caller"), "provider");

  EXPECT_FALSE(perform("online", {website}));
  EXPECT_TRUE(DriveDiskState::current().pinned.empty());
  EXPECT_EQ(commands()[1],
            (nlohmann::json{{"action", "evict"}, {"identifiers", {website, brief}}}));
  EXPECT_THAT(traceLog(),
              HasSubstr(" menu " + kPrefix + "offline " + website + "," + website + "\n"));

  const auto single = perform("offline", {nodeIdentifier("Alex Morgan/Launch Scene.vtrscene")});
  EXPECT_EQ(single->localizedDescription(),
            "PRALO documents stay in the cloud. Open them in PRALO.");
  EXPECT_EQ(perform("offline", {"NSFileProviderTrashContainerItemIdentifier"})->code(), 513);
  EXPECT_EQ(perform("nonsense", {})->code(), 513);
}

TEST_F(CustomActionsTest, WebLinksRecallAndHandOvers) {
  const auto documents = idOf("Alex Morgan/Documents");
  const auto notes = nodeIdentifier("Alex Morgan/Documents/Notes.md");
  const auto home = namespaceIdentifier("Alex Morgan");
  EXPECT_FALSE(perform("openPralo", {notes, "node:" + documents, home, "root"}));
  std::vector<std::string> urls;
  for (const auto& command : commands())
    urls.push_back(command["url"]);
  EXPECT_EQ(urls, (std::vector<std::string>{"https://web.example/drive?node=" + documents,
                                            "https://web.example/drive?node=" + documents,
                                            "https://web.example/drive?node=" + idOf("Alex Morgan"),
                                            "https://web.example/drive"}));

  EXPECT_FALSE(perform("timeMachine", {"trash", notes}));
  EXPECT_EQ(commands().back()["url"], "https://web.example/drive?recall=" + notes.substr(5));
  EXPECT_FALSE(perform("sendCopy", {"ns:x", notes}));
  EXPECT_EQ(commands().back(),
            (nlohmann::json{{"action", kPrefix + "sendCopy"}, {"identifiers", {"ns:x", notes}}}));
  const auto count = commands().size();
  EXPECT_FALSE(perform("openPralo", {}));
  EXPECT_FALSE(perform("timeMachine", {}));
  EXPECT_EQ(commands().size(), count);
}

TEST_F(CustomActionsTest, WithTheCompanionStoppedFollowUpsRetrySixTimes) {
  service().stopCompanion();
  EXPECT_EQ(perform("request", {"node:x"})->localizedDescription(), "Drive is not running.");
  const auto folder = nodeIdentifier("Alex Morgan/Photos");
  const auto reply = calls::performAction(extension(), kPrefix + "offline", {folder});
  EXPECT_FALSE(reply.error);
  EXPECT_EQ(reply.progress.completed, 1);
  EXPECT_TRUE(fp::waitForXpcTransactions(std::chrono::seconds(30)));
  const auto log = traceLog();
  for (int attempt = 0; attempt < 6; ++attempt) {
    EXPECT_THAT(log, HasSubstr(" helper retry " + std::to_string(attempt) +
                               " download Drive is not running.\n"));
  }
  EXPECT_THAT(log, ::testing::Not(HasSubstr("helper retry 6")));
  EXPECT_EQ(clock().sleeps().size(), 6u);
}

TEST_F(CustomActionsTest, AFollowUpThatCannotBeWrittenIsTracedInTheDrivesWords) {
  // Not UTF-8: the JSON library refuses to write it, in words of its own.
  postCommandWithRetries({{"action", "download"}, {"identifiers", {"node:\xff"}}});
  const auto log = traceLog();
  EXPECT_THAT(log, HasSubstr(" helper retry 5 download The operation couldn\u2019t be completed. "
                             "(NSCocoaErrorDomain error 256.)\n"));
  EXPECT_THAT(log, ::testing::Not(HasSubstr("json")));
  EXPECT_TRUE(commands().empty());
}

// Companions that hold the post past its 4 s: each would end in a 200 if waited for.
class SlowCompanionTest : public test_support::DriveTest {
 protected:
  std::string outcomeOfPost(const test_support::RawServer& companion) {
    configure(
        [&](fp::Environment& environment) { environment.companionBaseURL = companion.url(""); });
    try {
      postCommand({{"action", "sendCopy"}});
    } catch (const DriveAPIError& error) {
      return error.errorDescription();
    }
    return "sent";
  }
};

TEST_F(SlowCompanionTest, ACommandPostGivesUpAtFourSecondsWhateverTheCompanionDoes) {
  const std::string head = "HTTP/1.1 200 OK\r\nContent-Length: 8\r\n\r\n";
  test_support::RawServer late([&](test_support::RawServer& server, int fd) {
    test_support::RawServer::readHead(fd);
    server.pause(std::chrono::seconds(7));
    test_support::RawServer::send(fd, head + "accepted");
  });
  EXPECT_EQ(outcomeOfPost(late), "Drive is not running.");

  // A byte a second keeps any low-speed limit content.
  test_support::RawServer trickling([&](test_support::RawServer& server, int fd) {
    test_support::RawServer::readHead(fd);
    test_support::RawServer::send(fd, head);
    for (const char byte : std::string("accepted")) {
      server.pause(std::chrono::seconds(1));
      test_support::RawServer::send(fd, std::string(1, byte));
    }
  });
  EXPECT_EQ(outcomeOfPost(trickling), "Drive is not running.");
}

}  // namespace
}  // namespace drive
