// Clients that are slow on purpose must not keep the service from the others.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "platform/url_session.h"
#include "reference/reference_fixture.h"

namespace drive::reference::test_support {
namespace {

// As many as once starved the service.
constexpr int kTricklingClients = 200;
constexpr int kIdleClients = 40;

int connectTo(int port) {
  const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  EXPECT_EQ(::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  return fd;
}

void sendText(int fd, const std::string& text) {
  [[maybe_unused]] const auto sent = ::send(fd, text.data(), text.size(), MSG_NOSIGNAL);
}

class SlowClients : public ReferenceTest {
 protected:
  void TearDown() override {
    for (const int fd : sockets_)
      ::close(fd);
    ReferenceTest::TearDown();
  }
  // Whether a request gets any answer within 10 s: it waits behind the slow clients until
  // their time-outs free the service's threads, a few seconds; without time-outs it never
  // would.
  bool answered() {
    fp::URLSession session({});
    fp::URLRequest request;
    request.url = service().baseURL() + "/storage/listing";
    request.totalTimeout = std::chrono::seconds(10);
    try {
      return session.send(request).response.statusCode > 0;
    } catch (const std::exception&) {
      return false;
    }
  }
  std::vector<int> sockets_;
};

TEST_F(SlowClients, TricklingAndIdleClientsLeaveRoomForOthers) {
  // Keep-alive connections that went quiet after one request.
  for (int index = 0; index < kIdleClients; ++index) {
    sockets_.push_back(connectTo(service().port()));
    sendText(sockets_.back(), "GET /storage/listing HTTP/1.1\r\nHost: x\r\n\r\n");
  }
  // Request heads trickled a byte every 2 s, for as long as the test runs.
  std::vector<int> tricklers;
  for (int index = 0; index < kTricklingClients; ++index)
    tricklers.push_back(connectTo(service().port()));
  sockets_.insert(sockets_.end(), tricklers.begin(), tricklers.end());
  std::atomic<bool> done = false;
  std::thread trickle([&] {
    while (!done) {
      for (const int fd : tricklers)
        sendText(fd, "G");
      for (int tick = 0; tick < 20 && !done; ++tick)
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
  });
  EXPECT_TRUE(answered());
  done = true;
  trickle.join();
}

}  // namespace
}  // namespace drive::reference::test_support
