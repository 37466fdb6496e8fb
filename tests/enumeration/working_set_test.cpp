#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "app_group/disk_state.h"
#include "app_group/listing_ack.h"
#include "app_group/remote_items.h"
#include "support/service_fixture.h"

namespace drive {
namespace {

using reference::Fault;
using ::testing::HasSubstr;

const std::string kWorkingSet = "NSFileProviderWorkingSetContainerItemIdentifier";

class WorkingSetTest : public test_support::ServiceTest {
 protected:
  void setRevision(std::int64_t revision) { ASSERT_TRUE(DriveDiskState::save({revision, {}, {}})); }
};

TEST_F(WorkingSetTest, RemoteUpdatesArePublishedInBatchesOfForty) {
  const auto documents = idOf("Alex Morgan/Documents");
  std::vector<std::string> updates;
  for (int index = 0; index < 100; ++index) {
    updates.push_back(
        "node:" +
        service().tree().addFile(documents, "f" + std::to_string(index) + ".txt", "x").id);
  }
  DriveRemoteItems::write({updates, {}});
  const std::pair<std::size_t, bool> expected[] = {{40, true}, {40, true}, {20, false}};
  for (const auto& [count, more] : expected) {
    const auto reply = changes(kWorkingSet);
    ASSERT_FALSE(reply.error);
    EXPECT_EQ(reply.items.size(), count);
    EXPECT_EQ(reply.moreComing, more);
    EXPECT_EQ(reply.anchor.size(), 32u);
  }
  EXPECT_TRUE(DriveRemoteItems::read().updates.empty());
  EXPECT_THAT(traceLog(), HasSubstr(" working published updates=20 deletes=0 more=false\n"));
}

TEST_F(WorkingSetTest, GoneItemsBecomeDeletionsAndUnreachableOnesStay) {
  const auto gone = nodeIdentifier("Alex Morgan/Photos/Beach.jpg");
  const auto flaky = nodeIdentifier("Alex Morgan/Photos/budget.csv");
  service().injectFault("/storage/nodes/" + gone.substr(5), Fault::message(404, "Not found"));
  // Twice: a client may retry a request once on a connection that died.
  service().injectFault("/storage/nodes/" + flaky.substr(5), Fault::dropped(), 2);
  DriveRemoteItems::write({{gone, flaky}, {"node:deleted"}});
  const auto reply = changes(kWorkingSet);
  EXPECT_THAT(reply.deleted, ::testing::ElementsAre("node:deleted", gone));
  EXPECT_TRUE(reply.items.empty());
  EXPECT_EQ(DriveRemoteItems::read().updates, std::vector<std::string>{flaky});
  service().clearFaults();
  // A namespace's root node is published as the namespace folder.
  DriveRemoteItems::write({{nodeIdentifier("Alex Morgan")}, {}});
  EXPECT_EQ(changes(kWorkingSet).items.at(0)->itemIdentifier(), namespaceIdentifier("Alex Morgan"));
}

TEST_F(WorkingSetTest, PolicyRefreshExpiresOncePerRevisionUntilFullyReported) {
  const auto logo = nodeIdentifier("Studio Team/Shared Assets/Logo.png");
  service().companionSignals().writePolicyRefresh({logo});
  setRevision(3);
  DriveListingAck::write({3, "tok", {}});
  EXPECT_EQ(changes(kWorkingSet).error->code(), -1002);
  auto second = changes(kWorkingSet);  // same revision: reported, not expired again
  ASSERT_FALSE(second.error);
  EXPECT_EQ(second.items.at(0)->itemIdentifier(), logo);

  const auto listed = list(kWorkingSet);
  EXPECT_EQ(listed.items.size(), 1u);
  EXPECT_EQ(DriveListingAck::read().containers, std::vector<std::string>{kWorkingSet});
  EXPECT_THAT(traceLog(), HasSubstr(" working published rev=3 items=1\n"));
  setRevision(4);
  ASSERT_FALSE(list(kWorkingSet).error);
  EXPECT_FALSE(changes(kWorkingSet).error);  // listed at 4 before any expiry
  // An acknowledgement never lands on a newer revision or token.
  EXPECT_EQ(DriveListingAck::read().revision, 3);
}

TEST_F(WorkingSetTest, NothingToReportHandsTheAnchorBack) {
  auto enumerator = extension().enumeratorForContainerItemIdentifier(kWorkingSet, {});
  const auto reply = fp::BlockingCalls::enumerateChanges(*enumerator, {'a', 'n'});
  EXPECT_EQ(reply.anchor, (fp::SyncAnchor{'a', 'n'}));
  EXPECT_TRUE(list(kWorkingSet).items.empty());
  EXPECT_TRUE(DriveListingAck::read().containers.empty());
  setRevision(42);
  const std::string expected = "working-42";
  EXPECT_EQ(fp::BlockingCalls::currentSyncAnchor(*enumerator),
            fp::SyncAnchor(expected.begin(), expected.end()));
}

}  // namespace
}  // namespace drive
