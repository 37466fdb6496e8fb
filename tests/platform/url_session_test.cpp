// Each way a transfer fails, provoked for real on loopback, and the platform error it becomes.
#include "platform/url_session.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "platform/platform_error.h"
#include "raw_server.h"

namespace drive {
namespace {

using testing::RawServer;
using namespace std::string_literals;

fp::PlatformError failureOf(const std::string& url,
                            std::chrono::milliseconds timeout = std::chrono::seconds(10)) {
  fp::URLSession session({});
  fp::URLRequest request;
  request.url = url;
  request.timeout = timeout;
  try {
    const auto answer = session.send(request);
    ADD_FAILURE() << url << " answered " << answer.response.statusCode;
  } catch (const fp::PlatformError& error) {
    return error;
  }
  return fp::PlatformError(fp::NSCocoaErrorDomain, 0);
}

// Answers every request on the connection with `answer`.
RawServer answering(const std::string& answer) {
  return RawServer([answer](RawServer&, int fd) {
    while (!RawServer::readHead(fd).empty())
      RawServer::send(fd, answer);
  });
}

int closedPort() {
  const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  ::bind(fd, reinterpret_cast<sockaddr*>(&address), size);
  ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size);
  ::close(fd);
  return ntohs(address.sin_port);
}

TEST(URLSessionFailures, AnswersThatAreNotHTTPAreBadServerResponses) {
  const fp::PlatformError bad(fp::NSURLErrorDomain, -1011);
  EXPECT_EQ(bad.localizedDescription(),
            "The operation couldn\u2019t be completed. (NSURLErrorDomain error -1011.)");
  for (const std::string& answer :
       {"\x8f\x13\xa7garbage\0\xff\r\n\r\nmore"s, "HTTP/1.1 999999999999\r\n\r\n"s}) {
    auto server = answering(answer);
    EXPECT_EQ(failureOf(server.url()), bad) << answer;
  }
}

TEST(URLSessionFailures, EachTransportFailureHasThePlatformsCode) {
  RawServer silent([](RawServer& server, int fd) {
    RawServer::readHead(fd);
    server.pause(std::chrono::seconds(30));
  });
  EXPECT_EQ(failureOf(silent.url(), std::chrono::seconds(1)).code(), -1001);

  EXPECT_EQ(failureOf("http://127.0.0.1:" + std::to_string(closedPort()) + "/").code(), -1004);

  RawServer resetting([](RawServer& server, int fd) {
    RawServer::readHead(fd);
    server.reset(fd);
  });
  EXPECT_EQ(failureOf(resetting.url()).code(), -1005);

  EXPECT_EQ(failureOf("http://nonexistent.invalid/").code(), -1003);

  // A plain server refuses the TLS greeting as a bad request, as any HTTP server would.
  RawServer plain([](RawServer&, int fd) {
    char greeting[512];
    if (::recv(fd, greeting, sizeof greeting, 0) > 0) {
      RawServer::send(fd, "HTTP/1.1 400 Bad Request\r\nContent-Length: 0\r\n\r\n");
    }
  });
  auto secure = plain.url();
  secure.insert(4, "s");
  EXPECT_EQ(failureOf(secure).code(), -1200);

  auto loop = answering("HTTP/1.1 302 Found\r\nLocation: /again\r\nContent-Length: 0\r\n\r\n");
  const auto redirects = failureOf(loop.url());
  EXPECT_EQ(redirects.code(), -1007);
  EXPECT_EQ(redirects.localizedDescription(), "too many HTTP redirects");
}

}  // namespace
}  // namespace drive
