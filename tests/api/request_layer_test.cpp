#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "api/drive_api.h"
#include "model/drive_api_error.h"
#include "session/session_store.h"
#include "support/service_fixture.h"

namespace drive {
namespace {

using reference::Fault;
using ::testing::HasSubstr;

class RequestLayerTest : public test_support::ServiceTest {
 protected:
  DriveAPI& api() { return DriveAPI::shared(); }
  std::string rootId() { return idOf("Alex Morgan"); }

  // Stores a session whose token expires `seconds` from now.
  DriveSession signInExpiringIn(std::chrono::seconds seconds) {
    auto session = service().issueSession(clock().now() + seconds);
    saveSession(session);
    return session;
  }
  int refreshes() { return requestCount("POST", "/me/apps/tokens/refresh"); }

  template <typename Call>
  DriveAPIError apiErrorOf(Call call) {
    try {
      call();
    } catch (const DriveAPIError& error) {
      return error;
    }
    ADD_FAILURE() << "expected a DriveAPIError";
    return DriveAPIError::decoding();
  }
};

TEST_F(RequestLayerTest, HeadersMethodsAndBodiesAsSent) {
  const auto session = signInExpiringIn(std::chrono::hours(10));
  api().node(rootId());
  api().renameNode(idOf("Alex Morgan/Photos"), "Pictures");
  EXPECT_THROW(
      api().perform("/storage/nodes/" + rootId(), "GET", DriveAPI::Body{{"ignored", "x"}}, ""),
      DriveAPIError);  // the service wants a token
  const auto requests = service().requests();
  ASSERT_EQ(requests.size(), 3u);

  const auto& get = requests[0];
  EXPECT_EQ(get.method, "GET");
  EXPECT_EQ(get.header("Accept"), "application/json");
  EXPECT_EQ(get.header("Authorization"), "Bearer " + session.token);
  EXPECT_FALSE(get.header("Content-Type"));
  EXPECT_EQ(get.bodySize, 0u);

  const auto& patch = requests[1];
  EXPECT_EQ(patch.method, "PATCH");
  EXPECT_EQ(patch.header("Content-Type"), "application/json");
  EXPECT_EQ(nlohmann::json::parse(*patch.body), (nlohmann::json{{"name", "Pictures"}}));

  // An empty token sends no Authorization, and a GET never carries its body.
  EXPECT_FALSE(requests[2].header("Authorization"));
  EXPECT_EQ(requests[2].bodySize, 0u);
  EXPECT_FALSE(requests[2].header("Content-Type"));
}

TEST_F(RequestLayerTest, TokensAreRefreshedWithinTwoHoursOfExpiry) {
  signInExpiringIn(std::chrono::seconds(7201));
  api().node(rootId());
  EXPECT_EQ(refreshes(), 0);

  const auto old = signInExpiringIn(std::chrono::seconds(7200));
  service().clearRequests();
  api().node(rootId());
  EXPECT_EQ(refreshes(), 1);
  const auto refresh = service().requests().front();
  EXPECT_EQ(refresh.header("Authorization"), "Bearer " + old.token);
  EXPECT_EQ(refresh.body, "{}");
  EXPECT_EQ(refresh.header("Content-Type"), "application/json");
  const auto renewed = loadSession();
  EXPECT_NE(renewed->token, old.token);
  EXPECT_EQ(renewed->email, old.email);  // a stored e-mail stays
  EXPECT_EQ(service().requests().back().header("Authorization"), "Bearer " + renewed->token);

  // Both time stamp forms are read; anything else forces a refresh.
  for (const std::string expiry : {"2099-01-01T00:00:00Z", "2099-01-01T00:00:00.5Z"}) {
    auto session = *loadSession();
    session.expiresAt = expiry;
    saveSession(session);
    service().clearRequests();
    api().node(rootId());
    EXPECT_EQ(refreshes(), 0) << expiry;
  }
}

TEST_F(RequestLayerTest, AnEmptyEmailIsTakenFromTheNewToken) {
  auto session = signInExpiringIn(std::chrono::seconds(60));
  session.email = "";
  saveSession(session);
  api().node(rootId());
  EXPECT_EQ(loadSession()->email, "alex.morgan@example.com");
  EXPECT_EQ(DriveAPI::emailFromToken("a.eyJ1c2VybmFtZSI6ImFsZXgifQ.c"), "alex");
  EXPECT_FALSE(DriveAPI::emailFromToken("only-one-piece"));
  EXPECT_FALSE(DriveAPI::emailFromToken("a.!!!.c"));
  EXPECT_FALSE(DriveAPI::emailFromToken("a.W10.c"));  // an array, not an object
}

TEST_F(RequestLayerTest, A401IsRetriedOnceAfterAForcedRefresh) {
  signInExpiringIn(std::chrono::hours(10));
  service().injectUnauthorized("/storage/nodes/*", 1);
  EXPECT_EQ(api().node(rootId()).id, rootId());
  EXPECT_EQ(refreshes(), 1);
  EXPECT_EQ(requestCount("GET", "/storage/nodes/*"), 2);

  service().clearRequests();
  service().injectUnauthorized("/storage/nodes/*", 2);
  EXPECT_EQ(apiErrorOf([&] { api().node(rootId()); }).which(), DriveAPIError::Case::unauthorized);
  EXPECT_EQ(requestCount("GET", "/storage/nodes/*"), 2);

  // A refused refresh is the error reported, not the first 401.
  service().injectUnauthorized("/storage/nodes/*", 1);
  service().injectFault("/me/apps/tokens/refresh", Fault::message(503, "Try later"));
  const auto error = apiErrorOf([&] { api().node(rootId()); });
  EXPECT_EQ(error.which(), DriveAPIError::Case::http);
  EXPECT_EQ(error.errorDescription(), "Try later");
}

TEST_F(RequestLayerTest, StatusesAndBodiesBecomeErrors) {
  const std::string path = "/storage/nodes/" + rootId();
  service().injectFault(path, Fault::message(404, "Not found"));
  auto error = apiErrorOf([&] { api().node(rootId()); });
  EXPECT_EQ(error.status(), 404);
  EXPECT_EQ(error.text(), "Not found");

  service().injectFault(path, Fault::answer(500, "oops"));
  EXPECT_EQ(apiErrorOf([&] { api().node(rootId()); }).errorDescription(), "oops");
  service().injectFault(path, Fault::answer(503, ""));
  EXPECT_EQ(apiErrorOf([&] { api().node(rootId()); }).errorDescription(), "Server error (503)");
  service().injectFault(path, Fault::answer(204, ""));
  EXPECT_EQ(apiErrorOf([&] { api().node(rootId()); }).which(), DriveAPIError::Case::decoding);
  service().injectFault(path, Fault::answer(200, R"({"message":"Quota exceeded"})"));
  error = apiErrorOf([&] { api().node(rootId()); });
  EXPECT_EQ(error.which(), DriveAPIError::Case::message);
  EXPECT_EQ(error.text(), "Quota exceeded");
  service().injectFault(path, Fault::notJSON());
  EXPECT_EQ(apiErrorOf([&] { api().node(rootId()); }).which(), DriveAPIError::Case::decoding);
}

TEST_F(RequestLayerTest, TransportFailuresStayPlatformErrors) {
  service().injectFault("/storage/nodes/*", Fault::dropped());
  try {
    api().node(rootId());
    ADD_FAILURE() << "expected a transport error";
  } catch (const fp::PlatformError& error) {
    EXPECT_EQ(error.domain(), fp::NSURLErrorDomain);
    EXPECT_FALSE(error.localizedDescription().empty());
  }
}

TEST_F(RequestLayerTest, HostileIdsNeverLeaveTheirPathSegment) {
  // Such ids name nothing the service issues: no such item, and nothing is sent.
  const fp::PlatformError noSuchItem(fp::NSFileProviderErrorDomain, -1005);
  for (const std::string id :
       {"a/children", "..", "x?y=1", "x#frag", "a b", "", "x\r\nHost: evil"}) {
    EXPECT_EQ(item("node:" + id).error, noSuchItem) << id;
  }
  EXPECT_TRUE(service().requests().empty());
  EXPECT_THROW(api().perform("/storage/../me", "GET", std::nullopt, "t"), fp::PlatformError);
}

TEST_F(RequestLayerTest, TheCompanionHandsOverASessionWhenNoneIsStored) {
  std::filesystem::remove_all(root() / "data");
  std::filesystem::remove_all(container());
  resetCachedSessionForTesting();
  EXPECT_EQ(api().node(rootId()).id, rootId());
  EXPECT_EQ(service().companionRequests().at(0).path, "/session");
  EXPECT_TRUE(readDefaultsSession());
  EXPECT_TRUE(std::filesystem::exists(sessionFileURL()));
  EXPECT_FALSE(readKeychainSession(true, true));

  for (int status : {204, 401}) {
    std::filesystem::remove_all(container());
    resetCachedSessionForTesting();
    service().injectFault("/session", Fault::answer(status, "{}"));
    EXPECT_FALSE(fetchSessionFromCompanion()) << status;
    EXPECT_FALSE(readDefaultsSession());
  }
  service().stopCompanion();
  EXPECT_FALSE(fetchSessionFromCompanion());
  EXPECT_EQ(apiErrorOf([&] { api().node(rootId()); }).which(), DriveAPIError::Case::unauthorized);
}

}  // namespace
}  // namespace drive
