#include "app_group/sync_selection.h"

#include <gtest/gtest.h>

#include "platform/app_group_container.h"
#include "support/test_environment.h"

namespace drive {
namespace {

using DriveSyncSelection::filterTopLevel;
using DriveSyncSelection::includesNamespace;

constexpr const char* kKey = "drive.sync.selection.v1";

StorageNode node(const std::string& id, const std::string& kind) {
  StorageNode node;
  node.id = id;
  node.kind = kind;
  return node;
}

std::vector<std::string> idsOf(const std::vector<StorageNode>& nodes) {
  std::vector<std::string> ids;
  for (const auto& entry : nodes)
    ids.push_back(entry.id);
  return ids;
}

class SyncSelectionTest : public test_support::DriveTest {
 protected:
  void store(const nlohmann::json& selection) {
    fp::appGroupDefaults().setData(selection.dump(), kKey);
  }
  std::vector<std::string> topLevel(const std::string& namespaceId) {
    return idsOf(filterTopLevel(
        {node("f1", "folder"), node("doc", "file"), node("p1", "project"), node("f2", "folder")},
        namespaceId));
  }
  const std::vector<std::string> everything{"f1", "doc", "p1", "f2"};
};

TEST_F(SyncSelectionTest, ShowsEverythingWithoutAUsableChoice) {
  EXPECT_TRUE(includesNamespace("ns"));
  EXPECT_EQ(topLevel("ns"), everything);

  // Not configured, or not decodable: "folderIdsByNamespace" missing, "configured" no boolean.
  const auto folders = nlohmann::json{{"ns", nlohmann::json::array({"f1"})}};
  const auto full = nlohmann::json::array({"x"});
  const nlohmann::json unusable[] = {
      {{"configured", false}, {"fullNamespaceIds", full}, {"folderIdsByNamespace", folders}},
      {{"configured", true}, {"fullNamespaceIds", full}},
      {{"configured", 1}, {"fullNamespaceIds", full}, {"folderIdsByNamespace", folders}}};
  for (const auto& selection : unusable) {
    store(selection);
    EXPECT_TRUE(includesNamespace("ns")) << selection;
    EXPECT_EQ(topLevel("ns"), everything) << selection;
  }
  // Only a data value counts, not the same text as a string.
  const nlohmann::json hideAll = {{"configured", true},
                                  {"fullNamespaceIds", nlohmann::json::array()},
                                  {"folderIdsByNamespace", nlohmann::json::object()}};
  fp::appGroupDefaults().setObject(hideAll.dump(), kKey);
  EXPECT_EQ(DriveSyncSelection::load(), std::nullopt);
  store(hideAll);
  EXPECT_FALSE(includesNamespace("ns"));
}

TEST_F(SyncSelectionTest, ConfiguredChoiceFiltersNamespacesAndTopLevelFolders) {
  store({{"configured", true},
         {"fullNamespaceIds", {"full"}},
         {"folderIdsByNamespace", {{"part", {"p1", "gone"}}, {"none", nlohmann::json::array()}}}});
  EXPECT_TRUE(includesNamespace("full"));
  EXPECT_TRUE(includesNamespace("part"));
  EXPECT_FALSE(includesNamespace("none"));
  EXPECT_FALSE(includesNamespace("other"));

  EXPECT_EQ(topLevel("full"), everything);
  EXPECT_EQ(topLevel("part"), (std::vector<std::string>{"doc", "p1"}));
  EXPECT_EQ(topLevel("other"), std::vector<std::string>{"doc"});
}

TEST_F(SyncSelectionTest, ReadsTheStandardDefaultsWithoutAnAppGroup) {
  configure([](fp::Environment& environment) { environment.appGroupContainer.reset(); });
  fp::UserDefaults::standard().setData(
      R"({"configured":true,"fullNamespaceIds":[],"folderIdsByNamespace":{}})", kKey);
  EXPECT_FALSE(includesNamespace("ns"));
}

}  // namespace
}  // namespace drive
