#include "items/item_lookup.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/service_fixture.h"

namespace drive {
namespace {

using reference::Fault;
using reference::SyncSelection;
using ::testing::ElementsAre;

class ItemLookupTest : public test_support::ServiceTest {};

TEST_F(ItemLookupTest, TheRootListsNamespacesPersonalFirstAsTheSelectionAllows) {
  EXPECT_THAT(names(list("NSFileProviderRootContainerItemIdentifier")),
              ElementsAre("Alex Morgan", "Studio Team", "Client Showcase"));
  const auto studio = namespaceIdentifier("Studio Team").substr(3);
  service().companionSignals().writeSyncSelection(SyncSelection{true, {}, {{studio, {"x"}}}});
  EXPECT_THAT(names(list("NSFileProviderRootContainerItemIdentifier")), ElementsAre("Studio Team"));
  // Partly selected: only the chosen folder, and every file, at its top.
  const auto assets = idOf("Studio Team/Shared Assets");
  service().companionSignals().writeSyncSelection(SyncSelection{true, {}, {{studio, {assets}}}});
  EXPECT_THAT(names(list("ns:" + studio)), ElementsAre("Shared Assets"));
}

TEST_F(ItemLookupTest, ContainersHideTrashArchivesAndPersonalFoldersOfWorkspaces) {
  EXPECT_THAT(names(list(namespaceIdentifier("Alex Morgan"))),
              ElementsAre("Documents", "Photos", "Launch Scene.vtrscene", "Website Redesign"));
  EXPECT_THAT(names(list(namespaceIdentifier("Studio Team"))),
              ElementsAre("Shared Assets", "Q3 Campaign"));
  // Names that differ by case get a suffix; the trashed draft is gone.
  EXPECT_THAT(names(list(nodeIdentifier("Alex Morgan/Documents"))),
              ElementsAre("Quarterly Report.pdf", "Notes.md", "notes.md (2)", "Drafts"));
  const auto reply = list(nodeIdentifier("Client Showcase/Deliverables"));
  ASSERT_EQ(reply.items.size(), 2u);
  EXPECT_EQ(reply.items[0]->capabilities(), 65u);  // read only
  EXPECT_EQ(reply.items[0]->parentItemIdentifier(), nodeIdentifier("Client Showcase/Deliverables"));
  EXPECT_TRUE(list("NSFileProviderTrashContainerItemIdentifier").items.empty());
}

TEST_F(ItemLookupTest, EveryIdentifierKindAnswers) {
  EXPECT_EQ(item("NSFileProviderRootContainerItemIdentifier").item->filename(), "PraloDrive");
  const auto top = item(nodeIdentifier("Alex Morgan/Documents")).item;
  EXPECT_EQ(top->parentItemIdentifier(), namespaceIdentifier("Alex Morgan"));
  EXPECT_EQ(top->capabilities(), 47u);
  const auto project = item(nodeIdentifier("Alex Morgan/Website Redesign")).item;
  EXPECT_EQ(project->capabilities(), 3u);
  EXPECT_EQ(item(namespaceIdentifier("Studio Team")).item->filename(), "Studio Team");
  const auto scene = item(nodeIdentifier("Studio Team/Q3 Campaign/Storyboard.vtrscene")).item;
  EXPECT_EQ(scene->capabilities(), 44u);
  EXPECT_EQ(scene->decorations().size(), 2u);
  EXPECT_EQ(scene->userInfo().at("sync"), "pralo");
}

TEST_F(ItemLookupTest, LookupFailuresAsThePlatformSeesThem) {
  const fp::PlatformError noSuchItem(fp::NSFileProviderErrorDomain, -1005);
  EXPECT_EQ(item("NSFileProviderWorkingSetContainerItemIdentifier").error, noSuchItem);
  EXPECT_EQ(item("trash").error, noSuchItem);
  EXPECT_EQ(item("ns:unknown").error, noSuchItem);
  service().injectFault("/storage/nodes/*", Fault::message(404, "Not found"));
  EXPECT_EQ(item("node:gone").error, noSuchItem);
  service().injectFault("/storage/nodes/*", Fault::message(403, "You cannot see this"));
  const auto forbidden = item("node:secret").error;
  EXPECT_EQ(forbidden->code(), 513);
  EXPECT_EQ(forbidden->localizedDescription(), "You cannot see this");
  service().injectFault("/storage/nodes/*", Fault::answer(500, ""));
  EXPECT_EQ(item("node:x").error->code(), -1004);
  // The root needs no network at all.
  service().clearRequests();
  item("root");
  EXPECT_TRUE(service().requests().empty());
}

}  // namespace
}  // namespace drive
