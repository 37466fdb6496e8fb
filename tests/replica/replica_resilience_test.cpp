#include <gtest/gtest.h>
#include <signal.h>

#include <nlohmann/json.hpp>
#include <random>

#include "cli/pralodrive_child.h"
#include "replica/replica_fixture.h"

namespace drive::replica {
namespace {

using cli::test_support::PralodriveChild;

class ReplicaResilience : public test_support::ReplicaTest {
 protected:
  int sync(std::optional<std::chrono::milliseconds> killAfter) {
    PralodriveChild child({"sync", "--wait", "60"}, childEnvironment(), root() / "sync.err");
    if (killAfter) {
      std::this_thread::sleep_for(*killAfter);
      child.sendSignal(SIGKILL);
    }
    return child.finish();
  }
};

TEST_F(ReplicaResilience, KilledHostsResumeWithNothingLostOrDoubled) {
  auto& local = replica(false);
  const auto documents = at("Alex Morgan/Documents");
  const auto batch = local.createFolder(documents.key, "Batch");
  for (int n = 0; n < 45; ++n) {
    const auto file = local.createFile(batch.key, "f" + std::to_string(n) + ".txt");
    write(file.key, "content " + std::to_string(n));
  }
  local.rename(at("Alex Morgan/Documents/Notes.md").key, documents.key, "Notes renamed.md");
  write(at("Alex Morgan/Photos/budget.csv").key, "item,amount\nall,1\n");
  local.remove(at("Alex Morgan/Photos/Beach.jpg").key);
  local.createFolder(documents.key, "Empty");
  ASSERT_EQ(local.status().queue.size(), 50u);
  restart();

  std::mt19937 random(20240501);
  std::uniform_int_distribution<int> moment(20, 400);
  for (int kill = 0; kill < 20; ++kill)
    sync(std::chrono::milliseconds(moment(random)));
  ASSERT_EQ(sync(std::nullopt), 0) << fp::readWholeFile(root() / "sync.err").value_or("");

  auto& tree = service().tree();
  std::vector<std::string> names;
  for (const auto& node : tree.children(idOf("Alex Morgan/Documents/Batch"))) {
    if (!node.trashedAt) names.push_back(node.name);
  }
  ASSERT_EQ(names.size(), 45u);
  for (int n = 0; n < 45; ++n) {
    const auto name = "f" + std::to_string(n) + ".txt";
    EXPECT_EQ(std::count(names.begin(), names.end(), name), 1) << name;
    EXPECT_EQ(tree.content(idOf("Alex Morgan/Documents/Batch/" + name)),
              "content " + std::to_string(n));
  }
  EXPECT_TRUE(tree.nodeAt("Alex Morgan/Documents/Notes renamed.md"));
  EXPECT_EQ(tree.content(idOf("Alex Morgan/Photos/budget.csv")), "item,amount\nall,1\n");
  EXPECT_TRUE(tree.node(idOf("Alex Morgan/Photos/Beach.jpg")).trashedAt);
  EXPECT_TRUE(tree.nodeAt("Alex Morgan/Documents/Empty"));
  EXPECT_TRUE(readStatus(options()).queue.empty());

  PralodriveChild status({"--json", "status"}, childEnvironment(), root() / "status.err");
  const auto line = status.readLine();
  ASSERT_EQ(status.finish(), 0);
  ASSERT_TRUE(line);
  const auto json = nlohmann::json::parse(*line);
  EXPECT_GT(json["itemsKnown"].get<int>(), 45);
  EXPECT_EQ(json["queue"], nlohmann::json::array());
  EXPECT_EQ(json["storeLimit"], 10ull << 30);
}

}  // namespace
}  // namespace drive::replica
