#include <gtest/gtest.h>

#include "app_group/listing_ack.h"
#include "app_group/policy_refresh.h"
#include "app_group/remote_items.h"
#include "app_group/remote_refresh.h"
#include "support/test_environment.h"
#include "support/test_files.h"

namespace drive {
namespace {

using test_support::readText;
using test_support::writeText;

class SignalFilesTest : public test_support::DriveTest {
 protected:
  std::filesystem::path file(const std::string& name) { return container() / name; }
};

TEST_F(SignalFilesTest, RemoteRefreshReadsDefaultsForAnyBadFile) {
  const auto refresh = file("drive-remote-refresh.json");
  EXPECT_EQ(DriveRemoteRefresh::read(), DriveRemoteRefresh::Payload{});
  for (const char* bad : {R"({"generation":4})", R"({"generation":4.5,"pending":[]})",
                          R"({"generation":4,"pending":[1]})", "[]", "{"}) {
    writeText(refresh, bad);
    EXPECT_EQ(DriveRemoteRefresh::read(), DriveRemoteRefresh::Payload{}) << bad;
  }
  writeText(refresh, R"({"generation":4,"pending":["b","a"],"extra":true})");
  EXPECT_EQ(DriveRemoteRefresh::read(), (DriveRemoteRefresh::Payload{4, {"b", "a"}}));
}

TEST_F(SignalFilesTest, ClearPendingRemovesEveryEntryAndWritesOnlyThen) {
  const auto refresh = file("drive-remote-refresh.json");
  DriveRemoteRefresh::clearPending("node:a");
  EXPECT_FALSE(std::filesystem::exists(refresh));

  writeText(refresh, R"({"generation":4,"pending":["node:a"]})");
  DriveRemoteRefresh::write({3, {"node:a", "root", "node:a", "ns:1"}});
  DriveRemoteRefresh::clearPending("node:a");
  EXPECT_EQ(readText(refresh), R"({"generation":3,"pending":["root","ns:1"]})");

  test_support::ReplacementWatch watch(refresh);
  DriveRemoteRefresh::clearPending("node:zzz");
  EXPECT_FALSE(watch.replaced());

  writeText(refresh, R"({"generation":3})");
  DriveRemoteRefresh::clearPending("root");
  EXPECT_EQ(readText(refresh), R"({"generation":3})");
}

TEST_F(SignalFilesTest, RemovePublishedDropsEveryOccurrenceInOrder) {
  const auto items = file("drive-remote-items.json");
  EXPECT_FALSE(DriveRemoteItems::removePublished({}));
  EXPECT_FALSE(std::filesystem::exists(items));

  DriveRemoteItems::write({{"a", "b", "a", "c"}, {"a", "d"}});
  EXPECT_TRUE(DriveRemoteItems::removePublished({}));
  EXPECT_TRUE(DriveRemoteItems::removePublished({"a"}));
  EXPECT_EQ(readText(items), R"({"deletes":["d"],"updates":["b","c"]})");
  EXPECT_FALSE(DriveRemoteItems::removePublished({"b", "c", "d"}));

  // A missing or damaged file is replaced by the empty record.
  std::filesystem::remove(items);
  EXPECT_FALSE(DriveRemoteItems::removePublished({"x"}));
  EXPECT_EQ(readText(items), R"({"deletes":[],"updates":[]})");
  writeText(items, R"({"updates":["x"]})");
  EXPECT_FALSE(DriveRemoteItems::removePublished({"x"}));
  EXPECT_EQ(readText(items), R"({"deletes":[],"updates":[]})");
}

TEST_F(SignalFilesTest, AcknowledgeOnlyAddsToTheRevisionAndTokenItSaw) {
  const auto ack = file("drive-listing-ack.json");
  DriveListingAck::acknowledge("root", 3, "");
  EXPECT_FALSE(std::filesystem::exists(ack));
  DriveListingAck::acknowledge("root", 0, "");
  EXPECT_EQ(readText(ack), R"({"containers":["root"],"revision":0,"token":""})");

  DriveListingAck::write({6, "t6", {"root"}});
  const auto written = readText(ack);
  DriveListingAck::acknowledge("ns:1", 5, "t6");
  DriveListingAck::acknowledge("ns:1", 6, "t5");
  EXPECT_EQ(readText(ack), written);

  DriveListingAck::acknowledge("ns:1", 6, "t6");
  EXPECT_EQ(DriveListingAck::read(), (DriveListingAck::Record{6, "t6", {"root", "ns:1"}}));
  test_support::ReplacementWatch watch(ack);
  DriveListingAck::acknowledge("root", 6, "t6");
  EXPECT_TRUE(watch.replaced());
  EXPECT_EQ(DriveListingAck::read().containers, (std::vector<std::string>{"root", "ns:1"}));

  writeText(ack, R"({"revision":6,"containers":[]})");
  EXPECT_EQ(DriveListingAck::read(), DriveListingAck::Record{});
}

TEST_F(SignalFilesTest, PolicyRefreshListIsASetOrEmpty) {
  const auto policy = file("drive-policy-refresh.json");
  EXPECT_TRUE(policyRefreshList().empty());
  writeText(policy, R"(["node:b","node:a","node:b"])");
  EXPECT_EQ(policyRefreshList(), (std::set<std::string>{"node:a", "node:b"}));
  for (const char* bad : {R"(["node:a",2])", R"({"ids":[]})", "["}) {
    writeText(policy, bad);
    EXPECT_TRUE(policyRefreshList().empty()) << bad;
  }
}

}  // namespace
}  // namespace drive
