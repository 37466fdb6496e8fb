#include "items/item_builders.h"

#include <gtest/gtest.h>

#include "app_group/disk_state.h"
#include "support/test_environment.h"

namespace drive {
namespace {

StorageNode nodeOf(const std::string& id, const std::string& kind, const std::string& name) {
  StorageNode node;
  node.id = id;
  node.namespaceId = "ns";
  node.name = name;
  node.kind = kind;
  node.appKind = "none";
  return node;
}

std::string text(const fp::Bytes& bytes) {
  return std::string(bytes.begin(), bytes.end());
}

class ItemBuildersTest : public test_support::DriveTest {
 protected:
  void setState(std::int64_t revision, std::set<std::string> pinned,
                std::set<std::string> materialized) {
    ASSERT_TRUE(DriveDiskState::save({revision, std::move(pinned), std::move(materialized)}));
  }
  std::shared_ptr<const FileProviderItem> build(const StorageNode& node, bool writable,
                                                std::optional<bool> downloaded = {}) {
    NodeItemOptions options;
    options.parent = DriveItemID::node("parent");
    options.name = node.name;
    options.writable = writable;
    options.downloaded = downloaded;
    options.project = node.kind == "project";
    return buildNodeItem(node, options);
  }
};

TEST_F(ItemBuildersTest, CapabilitiesAndSyncModesFollowKindAndWritability) {
  auto scene = nodeOf("s", "file", "Scene");
  scene.appKind = "Scene";  // the cloud-only test lower-cases
  const struct {
    StorageNode node;
    bool writable;
    fp::ItemCapabilities capabilities;
    SyncMode mode;
  } cases[] = {
      {nodeOf("p", "project", "Proj"), true, 3, SyncMode::folder},
      {nodeOf("p", "project", "Proj"), false, 1, SyncMode::listing},
      {nodeOf("f", "folder", "Docs"), true, 47, SyncMode::folder},
      {nodeOf("f", "folder", "Docs"), false, 1, SyncMode::listing},
      {nodeOf("d", "file", "a.txt"), true, 111, SyncMode::online},
      {nodeOf("d", "file", "a.txt"), false, 65, SyncMode::listing},
      {scene, true, 44, SyncMode::pralo},
      {scene, false, 0, SyncMode::pralo},
  };
  for (const auto& c : cases) {
    const auto item = build(c.node, c.writable);
    EXPECT_EQ(item->capabilities(), c.capabilities) << c.node.name << c.writable;
    EXPECT_EQ(item->syncMode(), c.mode) << c.node.name << c.writable;
    EXPECT_EQ(item->contentPolicy(), fp::ContentPolicy::downloadLazily);
  }
  // The scene rule for the type is case-sensitive: "Scene" takes the type from the name.
  EXPECT_EQ(build(scene, true)->contentType(), fp::UniformType::data());
  EXPECT_EQ(build(scene, true)->decorations(),
            (std::vector<fp::DecorationIdentifier>{kPraloBadgeDecoration, kPraloDecoration}));
  EXPECT_TRUE(build(nodeOf("d", "file", "a.txt"), true)->decorations().empty());
}

TEST_F(ItemBuildersTest, PinnedCloudOnlyDocumentIsOfflineButNeverDownloaded) {
  auto doc = nodeOf("doc", "file", "Model.VTROBJ");
  setState(7, {"doc"}, {"doc"});
  const auto item = build(doc, false);
  EXPECT_EQ(item->syncMode(), SyncMode::offline);
  EXPECT_EQ(item->userInfo().at("writable"), "1");  // follows the mode, not the capabilities
  EXPECT_FALSE(item->isDownloaded());
  EXPECT_TRUE(item->decorations().empty());
  EXPECT_EQ(item->contentType().identifier(), "eu.vantrel.drive.vtrobj");
  EXPECT_EQ(text(item->itemVersion().metadataVersion), "sync14-7-offline-cloud-0.0-Model.VTROBJ");
}

TEST_F(ItemBuildersTest, VersionsCarryRevisionTimeStampAndLocalState) {
  auto file = nodeOf("n1", "file", " Plan/v2.pdf ");
  setState(-3, {}, {"n1"});
  EXPECT_EQ(text(build(file, true)->itemVersion().contentVersion), "0.0");
  EXPECT_EQ(text(build(file, true)->itemVersion().metadataVersion),
            "sync14--3-online-local-0.0-Plan:v2.pdf");
  EXPECT_FALSE(build(file, true, false)->isDownloaded());

  file.createdAt = "2024-05-01T12:30:00Z";
  EXPECT_EQ(text(build(file, true)->itemVersion().contentVersion), "1714566600.0");
  file.updatedAt = "2024-05-01T12:30:00.250Z";
  file.contentHash = "abc";
  file.byteSize = 0;
  const auto item = build(file, true);
  EXPECT_EQ(text(item->itemVersion().contentVersion), "abc");
  EXPECT_EQ(text(item->itemVersion().metadataVersion),
            "sync14--3-online-local-1714566600.25-Plan:v2.pdf");
  EXPECT_EQ(item->documentSize(), 0);
  EXPECT_DOUBLE_EQ(item->creationDate()->time_since_epoch().count(), 1714566600);

  // A new revision changes every metadata version.
  setState(4, {}, {"n1"});
  EXPECT_EQ(text(build(file, true)->itemVersion().metadataVersion),
            "sync14-4-online-local-1714566600.25-Plan:v2.pdf");
}

TEST_F(ItemBuildersTest, RootAndNamespaceItems) {
  const auto root = buildRootItem();
  EXPECT_EQ(root->itemIdentifier(), "NSFileProviderRootContainerItemIdentifier");
  EXPECT_EQ(root->parentItemIdentifier(), "NSFileProviderRootContainerItemIdentifier");
  EXPECT_EQ(root->filename(), "PraloDrive");
  EXPECT_EQ(text(root->itemVersion().metadataVersion), "sync14-0-listing-local-0.0-PraloDrive");
  EXPECT_EQ(root->userInfo(),
            (fp::ItemUserInfo{{"sync", "listing"}, {"writable", "0"}, {"kind", "folder"}}));

  const StorageNamespace personal{"p1", "personal", "My Drive", {}, {}, {}, "r1"};
  const auto mine = buildNamespaceItem(personal);
  EXPECT_EQ(mine->itemIdentifier(), "ns:p1");
  EXPECT_EQ(mine->capabilities(), 3u);
  EXPECT_EQ(mine->userInfo().at("sync"), "myDrive");
  const StorageNamespace workspace{"w1", "workspace", "Team", {}, {}, {}, "r2"};
  const auto team = buildNamespaceItem(workspace, "Team (2)");
  EXPECT_EQ(team->capabilities(), 1u);
  EXPECT_EQ(text(team->itemVersion().metadataVersion), "sync14-0-listing-local-0.0-Team (2)");
  EXPECT_TRUE(team->isDownloaded());
  EXPECT_FALSE(team->documentSize());
}

}  // namespace
}  // namespace drive
