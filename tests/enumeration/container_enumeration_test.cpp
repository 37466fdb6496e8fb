#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "app_group/listing_ack.h"
#include "app_group/remote_refresh.h"
#include "enumeration/drive_enumerator.h"
#include "support/service_fixture.h"

namespace drive {
namespace {

using reference::Fault;
using ::testing::Contains;
using ::testing::HasSubstr;

class ContainerEnumerationTest : public test_support::ServiceTest {
 protected:
  std::optional<fp::SyncAnchor> anchor(const std::string& identifier) {
    DriveEnumerator enumerator(identifier);
    return fp::BlockingCalls::currentSyncAnchor(enumerator);
  }
};

TEST_F(ContainerEnumerationTest, ARemoteRenameExpiresTheContainerUntilItIsListedAgain) {
  const auto documents = nodeIdentifier("Alex Morgan/Documents");
  DriveListingAck::write({0, "t1", {}});
  ASSERT_FALSE(list(documents).error);
  const auto before = changes(documents);
  ASSERT_FALSE(before.error);
  EXPECT_THAT(DriveListingAck::read().containers, Contains(documents));

  service().tree().rename(idOf("Alex Morgan/Documents/Notes.md"), "Agenda.md");
  EXPECT_THAT(DriveRemoteRefresh::read().pending, Contains(documents));
  const auto expired = changes(documents);
  EXPECT_EQ(expired.error, fp::PlatformError(fp::NSFileProviderErrorDomain, -1002));
  EXPECT_THAT(traceLog(), HasSubstr(" remote expire " + documents + "\n"));

  EXPECT_THAT(names(list(documents)), Contains("Agenda.md"));
  EXPECT_THAT(DriveRemoteRefresh::read().pending, ::testing::Not(Contains(documents)));
  const auto after = changes(documents);
  ASSERT_FALSE(after.error);
  EXPECT_NE(after.anchor, before.anchor);
  EXPECT_EQ(after.anchor.size(), 32u);
  EXPECT_THAT(traceLog(), HasSubstr(" remote listed " + documents + " items=4\n"));
  EXPECT_THAT(traceLog(), HasSubstr(" changes reset=0 anchor=32 " + documents + " rev=0 items=4"));
}

TEST_F(ContainerEnumerationTest, ChangesReportDeletionsAndEveryCurrentItem) {
  const auto drafts = nodeIdentifier("Alex Morgan/Documents/Drafts");
  const auto outline = nodeIdentifier("Alex Morgan/Documents/Drafts/Outline.docx");
  ASSERT_EQ(list(drafts).items.size(), 1u);
  service().tree().remove(idOf("Alex Morgan/Documents/Drafts/Outline.docx"));
  DriveRemoteRefresh::write({0, {}});  // delivered another way: no pending mark
  auto reply = changes(drafts);
  EXPECT_THAT(reply.deleted, ::testing::ElementsAre(outline));
  EXPECT_TRUE(reply.items.empty());
  EXPECT_FALSE(reply.moreComing);
  // Nothing changed since: everything current is reported again, nothing deleted.
  reply = changes(nodeIdentifier("Alex Morgan/Photos"));
  EXPECT_TRUE(reply.deleted.empty());
  EXPECT_EQ(reply.items.size(), 2u);
}

TEST_F(ContainerEnumerationTest, AnchorsAreStableUntilNameVersionOrGenerationChange) {
  const auto photos = nodeIdentifier("Alex Morgan/Photos");
  const auto first = anchor(photos);
  ASSERT_TRUE(first);
  EXPECT_EQ(anchor(photos), first);
  DriveRemoteRefresh::write({7, {}});
  const auto newGeneration = anchor(photos);
  EXPECT_NE(newGeneration, first);
  service().tree().writeContent(idOf("Alex Morgan/Photos/budget.csv"), "item,amount\n");
  EXPECT_NE(anchor(photos), newGeneration);
  service().injectFault("/storage/nodes/*", Fault::answer(500, ""), 2);
  EXPECT_FALSE(anchor(photos));
}

TEST_F(ContainerEnumerationTest, OnlyItemListingRetriesWhileUnauthorized) {
  const auto photos = nodeIdentifier("Alex Morgan/Photos");
  service().injectUnauthorized("/storage/nodes/*", 100);
  service().injectUnauthorized("/me/apps/tokens/refresh", 100);
  const auto failed = list(photos);
  EXPECT_EQ(failed.error, fp::PlatformError(fp::NSFileProviderErrorDomain, -1000));
  EXPECT_EQ(clock().sleeps(),
            std::vector<std::chrono::nanoseconds>(7, std::chrono::milliseconds(500)));
  EXPECT_THAT(traceLog(), HasSubstr(" items failed " + photos +
                                    " Sign in expired. Open Drive and sign in again.\n"));

  service().clearFaults();
  service().injectUnauthorized("/storage/nodes/*", 3);
  EXPECT_FALSE(list(photos).error);  // recovers on a retry

  const auto sleepsBefore = clock().sleeps().size();
  service().injectUnauthorized("/storage/nodes/*", 100);
  service().injectUnauthorized("/me/apps/tokens/refresh", 100);
  EXPECT_EQ(changes(photos).error->code(), -1000);
  EXPECT_EQ(clock().sleeps().size(), sleepsBefore);
}

}  // namespace
}  // namespace drive
