// The companion stand-in: its loopback endpoint and the shared files it writes when the
// service changes under the provider.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <fstream>
#include <future>

#include "model/wire_models.h"
#include "platform/user_defaults.h"
#include "reference/reference_fixture.h"

namespace drive::reference::test_support {
namespace {

using Strings = std::vector<std::string>;

class CompanionStandIn : public ReferenceTest {
 protected:
  HttpClient& companion() {
    if (!companion_) companion_ = std::make_unique<HttpClient>(service().companionURL());
    return *companion_;
  }
  std::int64_t generation() const {
    const auto refresh = containerFile("drive-remote-refresh.json");
    return refresh.is_null() ? 0 : refresh.at("generation").get<std::int64_t>();
  }
  Strings pending() const {
    return containerFile("drive-remote-refresh.json").at("pending").get<Strings>();
  }
  Strings remoteItems(const char* list) const {
    return containerFile("drive-remote-items.json").at(list).get<Strings>();
  }

 private:
  std::unique_ptr<HttpClient> companion_;
};

TEST_F(CompanionStandIn, SessionIsValidForTheService) {
  const auto answer = companion().get("/session");
  ASSERT_EQ(answer.status, 200);
  const auto handed = decodeRecord<DriveSession>(answer.body);
  EXPECT_EQ(handed.email, "alex.morgan@example.com");
  EXPECT_EQ(handed.expiresAt, "2026-12-16T20:17:20.000Z");
  HttpClient provider(service().baseURL(), handed.token);
  EXPECT_EQ(provider.get("/storage/listing").status, 200);
  ASSERT_EQ(service().companionRequests().size(), 1u);
  EXPECT_EQ(service().companionRequests()[0].path, "/session");
}

TEST_F(CompanionStandIn, FinderActionsNeedTheProviderAsCaller) {
  const std::string open = R"({"action":"open","url":"https://app.vantrel.eu/drive"})";
  EXPECT_EQ(companion().send("POST", "/finder-action", open).status, 403);
  EXPECT_EQ(companion().send("POST", "/finder-action", open, {{"X-Drive-Caller", "finder"}}).status,
            403);
  const std::map<std::string, std::string> provider = {{"X-Drive-Caller", "provider"}};
  EXPECT_EQ(companion().send("POST", "/finder-action", std::string("{\"x\":1}"), provider).status,
            400);
  EXPECT_EQ(companion().send("POST", "/finder-action", std::string("oops"), provider).status, 400);
  EXPECT_EQ(companion().send("POST", "/finder-action", open, provider).status, 200);
  const std::string download = R"({"action":"download","identifiers":["node:a","node:b"]})";
  EXPECT_EQ(companion().send("POST", "/finder-action", download, provider).status, 200);
  const auto actions = service().finderActions();
  ASSERT_EQ(actions.size(), 2u);
  EXPECT_EQ(actions[0], nlohmann::json::parse(open));
  EXPECT_EQ(actions[1].at("identifiers"), (Strings{"node:a", "node:b"}));
}

TEST_F(CompanionStandIn, ForeignChangesReachTheSignalFiles) {
  const auto documents = idOf("Alex Morgan/Documents");
  const auto report = idOf("Alex Morgan/Documents/Quarterly Report.pdf");
  service().tree().rename(report, "Report Q3.pdf");
  EXPECT_EQ(generation(), 1);
  EXPECT_EQ(pending(), (Strings{"node:" + documents}));
  EXPECT_EQ(remoteItems("updates"), (Strings{"node:" + report}));

  const auto photos = idOf("Alex Morgan/Photos");
  service().tree().move(report, photos);
  service().tree().writeContent(report, "new figures");
  const auto folder = service().tree().addFolder(idOf("Alex Morgan"), "Travel");
  service().tree().remove(idOf("Alex Morgan/Photos/Beach.jpg"));
  EXPECT_EQ(generation(), 5);
  const auto personal = service().tree().listing().namespaces[0].id;
  EXPECT_EQ(pending(), (Strings{"node:" + documents, "node:" + photos, "ns:" + personal}));
  EXPECT_EQ(remoteItems("updates"), (Strings{"node:" + report, "node:" + folder.id}));
  EXPECT_EQ(remoteItems("deletes"), (Strings{"node:" + idOf("Alex Morgan/Photos/Beach.jpg")}));

  // An item deleted after it was reported as updated is only reported as deleted.
  service().tree().remove(folder.id);
  EXPECT_EQ(remoteItems("updates"), (Strings{"node:" + report}));
}

TEST_F(CompanionStandIn, OnlyTheProvidersOwnChangesStayQuiet) {
  const auto documents = idOf("Alex Morgan/Documents");
  const nlohmann::json body = {{"parentId", documents}, {"name", "Mine.txt"}, {"kind", "file"}};
  ASSERT_EQ(client().sendJSON("POST", "/storage/nodes", body).status, 201);
  EXPECT_FALSE(std::filesystem::exists(container() / "drive-remote-refresh.json"));
  EXPECT_FALSE(std::filesystem::exists(container() / "drive-remote-items.json"));

  const auto web = service().issueSession(clock().now() + std::chrono::hours(1), "eu.vantrel.web");
  HttpClient other(service().baseURL(), web.token);
  const auto created =
      other.sendJSON("POST", "/storage/nodes",
                     {{"parentId", documents}, {"name", "Theirs.txt"}, {"kind", "file"}});
  ASSERT_EQ(created.status, 201);
  EXPECT_EQ(generation(), 1);
  EXPECT_EQ(remoteItems("updates"),
            (Strings{"node:" + created.json().at("id").get<std::string>()}));
}

TEST_F(CompanionStandIn, MalformedSignalFilesStartOver) {
  std::filesystem::create_directories(container());
  std::ofstream(container() / "drive-remote-refresh.json") << R"({"generation":"seven"})";
  std::ofstream(container() / "drive-remote-items.json") << "[";
  service().tree().rename(idOf("Alex Morgan/Photos/budget.csv"), "costs.csv");
  EXPECT_EQ(generation(), 1);
  EXPECT_EQ(remoteItems("updates").size(), 1u);
  EXPECT_EQ(remoteItems("deletes"), Strings());
}

TEST_F(CompanionStandIn, SyncSelectionIsADataValueOfTheSuite) {
  const auto suite = fp::UserDefaults::suite("group.eu.vantrel.drive", container());
  suite.setData("keep me", "drive.other");
  const auto studio = service().tree().listing().namespaces[1].id;
  service().companionSignals().writeSyncSelection(
      {true, {"personal-id"}, {{studio, {"folder-a", "folder-b"}}}});
  EXPECT_EQ(suite.file(), container() / "Library" / "Preferences" / "group.eu.vantrel.drive.json");
  const auto stored = nlohmann::json::parse(*suite.dataForKey("drive.sync.selection.v1"));
  EXPECT_EQ(stored,
            nlohmann::json::parse(R"({"configured":true,"fullNamespaceIds":["personal-id"],)"
                                  R"("folderIdsByNamespace":{")" +
                                  studio + R"(":["folder-a","folder-b"]}})"));
  EXPECT_EQ(suite.dataForKey("drive.other"), "keep me");
  const auto raw = containerFile("Library/Preferences/group.eu.vantrel.drive.json");
  EXPECT_TRUE(raw.at("drive.sync.selection.v1").at("data").is_string());

  EXPECT_EQ(
      companion().send("PUT", "/sync-selection", std::string(R"({"configured":true})")).status,
      400);
  EXPECT_EQ(companion().send("DELETE", "/sync-selection").status, 204);
  EXPECT_FALSE(suite.dataForKey("drive.sync.selection.v1"));
  EXPECT_EQ(suite.dataForKey("drive.other"), "keep me");
}

TEST_F(CompanionStandIn, PolicyRefreshListOnRequest) {
  EXPECT_EQ(companion().send("PUT", "/policy-refresh", std::string(R"(["node:a",7])")).status, 400);
  EXPECT_EQ(companion().send("PUT", "/policy-refresh", std::string(R"(["node:a","ns:b"])")).status,
            204);
  EXPECT_EQ(containerFile("drive-policy-refresh.json"),
            nlohmann::json::parse(R"(["node:a","ns:b"])"));
  service().companionSignals().writePolicyRefresh({});
  EXPECT_EQ(containerFile("drive-policy-refresh.json"), nlohmann::json::array());
}

}  // namespace
}  // namespace drive::reference::test_support
