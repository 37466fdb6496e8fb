// Injected faults and the request log, as the provider's network tests will use them.
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <thread>

#include "reference/reference_fixture.h"

namespace drive::reference::test_support {
namespace {

class FaultInjection : public ReferenceTest {};

TEST_F(FaultInjection, AnswersReplaceTheNextRequestsThenStop) {
  service().injectFault("/storage/nodes/*", Fault::message(503, "Maintenance"), 2, "GET");
  const auto node = "/storage/nodes/" + idOf("Alex Morgan/Documents");
  EXPECT_EQ(client().get("/storage/listing").status, 200);                   // another path
  EXPECT_EQ(client().send("DELETE", "/storage/nodes/unknown").status, 404);  // another method
  EXPECT_EQ(client().get(node).message(), "Maintenance");
  EXPECT_EQ(client().get(node + "/children").status, 503);  // "*" crosses "/"
  EXPECT_EQ(client().get(node).status, 200);
  EXPECT_EQ(service().pendingFaults(), 0);

  service().injectUnauthorized("/storage/listing", 3);
  for (int i = 0; i < 3; ++i)
    EXPECT_EQ(client().get("/storage/listing").status, 401);
  EXPECT_EQ(client().get("/storage/listing").status, 200);

  // A 204 carries no body even when one is injected, and the connection stays usable.
  service().injectFault("/session", Fault::answer(204, R"({"x":1})"), 1);
  HttpClient companion(service().companionURL());
  const auto noContent = companion.get("/session");
  EXPECT_EQ(noContent.status, 204);
  EXPECT_EQ(noContent.body, "");
  EXPECT_EQ(companion.get("/session").status, 200);
}

TEST_F(FaultInjection, BrokenAnswersBreakTheWayTheySay) {
  service().injectFault("/storage/listing", Fault::notJSON());
  const auto notJSON = client().get("/storage/listing");
  EXPECT_EQ(notJSON.status, 200);
  EXPECT_THROW(notJSON.json(), nlohmann::json::parse_error);

  service().injectFault("/storage/listing", Fault::truncated());
  const auto truncated = client().get("/storage/listing");
  EXPECT_EQ(truncated.error, CURLE_PARTIAL_FILE);
  EXPECT_LT(truncated.body.size(), std::stoul(truncated.headers.at("content-length")));

  const auto report = idOf("Alex Morgan/Documents/Quarterly Report.pdf");
  service().injectFault("*/content", Fault::truncated());
  const auto cut = client().get("/storage/nodes/" + report + "/content");
  EXPECT_EQ(cut.error, CURLE_PARTIAL_FILE);
  EXPECT_EQ(cut.body, std::string("%PDF-1.7\n% quarterly figures\n%%EOF\n").substr(0, 17));

  // A fresh connection: on a reused one libcurl would quietly retry a request that got nothing.
  HttpClient fresh(service().baseURL(), session().token);
  service().injectFault("/storage/listing", Fault::dropped());
  const auto dropped = fresh.get("/storage/listing");
  EXPECT_EQ(dropped.error, CURLE_GOT_NOTHING);
  EXPECT_EQ(dropped.status, 0);
  EXPECT_EQ(fresh.get("/storage/listing").status, 200);
}

TEST_F(FaultInjection, DelayedAnswersComeLateButWhole) {
  service().injectFault("/storage/listing", Fault::delayed(std::chrono::milliseconds(300)));
  const auto start = std::chrono::steady_clock::now();
  const auto answer = client().get("/storage/listing");
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(300));
  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(answer.json().at("namespaces").size(), 3u);
}

TEST_F(FaultInjection, StopEndsDelaysAndIdleConnectionsAtOnce) {
  HttpClient idle(service().baseURL(), session().token);
  ASSERT_EQ(idle.get("/storage/listing").status, 200);  // its connection stays open
  service().injectFault("/storage/listing", Fault::delayed(std::chrono::minutes(10)));
  auto waiting = std::async(std::launch::async, [&] { return client().get("/storage/listing"); });
  while (service().pendingFaults() > 0)
    std::this_thread::yield();
  const auto start = std::chrono::steady_clock::now();
  service().stop();
  // Well below the 5 seconds an idle keep-alive connection would otherwise hold the server.
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
  const auto answer = waiting.get();
  EXPECT_EQ(answer.status, 200) << curl_easy_strerror(answer.error);
}

TEST_F(FaultInjection, RequestsAreRecordedAsSent) {
  service().clearRequests();
  const auto documents = idOf("Alex Morgan/Documents");
  const std::string body = R"({"parentId":")" + documents + R"(","name":"Plan.txt","kind":"file"})";
  client().send("POST", "/storage/nodes", body, {{"X-Trace", "one"}});
  client().upload("/storage/nodes/" + idOf("Alex Morgan/Photos/budget.csv") + "/content", 200'000,
                  [](char* buffer, std::size_t length) { std::fill_n(buffer, length, 'x'); });
  service().injectFault("/storage/listing", Fault::dropped());
  HttpClient(service().baseURL(), session().token).get("/storage/listing?fresh=1");

  const auto requests = service().requests();
  ASSERT_EQ(requests.size(), 3u);
  EXPECT_EQ(requests[0].method, "POST");
  EXPECT_EQ(requests[0].path, "/storage/nodes");
  EXPECT_EQ(requests[0].body, body);
  EXPECT_EQ(requests[0].bodySize, body.size());
  EXPECT_EQ(requests[0].header("content-type"), "application/json");
  EXPECT_EQ(requests[0].header("AUTHORIZATION"), "Bearer " + session().token);
  EXPECT_EQ(requests[0].header("x-trace"), "one");
  EXPECT_FALSE(requests[0].header("REMOTE_ADDR"));
  EXPECT_EQ(requests[1].method, "PUT");
  EXPECT_EQ(requests[1].bodySize, 200'000u);
  EXPECT_FALSE(requests[1].body);  // too large to keep
  EXPECT_EQ(requests[2].path, "/storage/listing");
  EXPECT_EQ(requests[2].target, "/storage/listing?fresh=1");
  EXPECT_TRUE(service().companionRequests().empty());
}

}  // namespace
}  // namespace drive::reference::test_support
