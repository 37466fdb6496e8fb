// Each way a transfer fails, provoked for real on loopback, and the platform error it becomes;
// large bodies, into memory and into a sink.
#include "platform/url_session.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <filesystem>
#include <fstream>

#include "platform/platform_error.h"
#include "support/raw_server.h"

namespace drive {
namespace {

using test_support::RawServer;
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

  const auto malformed = failureOf("http://[::1/");
  EXPECT_EQ(malformed.code(), -1000);
  EXPECT_EQ(malformed.localizedDescription(), "unsupported URL");
}

TEST(URLSessionFailures, AnUploadWhoseFileCannotBeReadSaysSo) {
  auto server = answering("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
  fp::URLSession session({});
  fp::URLRequest request;
  request.url = server.url();
  request.method = "PUT";
  // A directory opens like a file, but every read of it fails.
  request.bodyFile = std::filesystem::current_path();
  try {
    session.send(request);
    ADD_FAILURE() << "the upload was sent";
  } catch (const fp::PlatformError& error) {
    EXPECT_EQ(error.code(), -1);
    EXPECT_EQ(error.localizedDescription(), "The file to upload could not be read.");
  }
}

// A file written to or cut short while it goes up: exactly the announced length reaches the
// server, or the transfer ends; never a body the server would complete from the next request.
TEST(URLSessionFailures, AnUploadSendsExactlyItsAnnouncedLength) {
  // More than loopback's socket buffers hold, so the change comes while the upload runs.
  constexpr std::size_t kSize = 32 << 20;
  const auto path = std::filesystem::temp_directory_path() /
                    ("pralodrive-upload-" + std::to_string(::getpid()) + ".bin");
  for (const bool grows : {true, false}) {
    std::ofstream(path).close();
    std::filesystem::resize_file(path, kSize);
    std::atomic<std::size_t> received{0};
    RawServer server([&](RawServer&, int fd) {
      const auto head = RawServer::readHead(fd);
      if (head.empty()) return;
      received = head.size() - head.find("\r\n\r\n") - 4;  // the body's first bytes
      if (grows) {
        std::ofstream(path, std::ios::app) << "more";
      } else {
        std::filesystem::resize_file(path, kSize / 2);
      }
      std::array<char, 1 << 16> buffer{};
      while (received < kSize) {
        const auto got = ::recv(fd, buffer.data(), buffer.size(), 0);
        if (got <= 0) return;
        received += static_cast<std::size_t>(got);
      }
      RawServer::send(fd, "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
    });
    fp::URLSession session({});
    fp::URLRequest request;
    request.url = server.url();
    request.method = "PUT";
    request.bodyFile = path;
    try {
      EXPECT_EQ(session.send(request).response.statusCode, 200);
      EXPECT_TRUE(grows) << "a body cut short was sent";
    } catch (const fp::PlatformError& error) {
      EXPECT_FALSE(grows) << error.localizedDescription();
      EXPECT_EQ(error.localizedDescription(), "The file changed while it was being uploaded.");
    }
    EXPECT_EQ(received.load() == kSize, grows);
  }
  std::filesystem::remove(path);
}

// Where a successful answer's body went.
struct CollectingSink : fp::ResponseBodySink {
  void begin(std::optional<std::uint64_t> expectedLength) override {
    ++begun;
    expected = expectedLength;
  }
  void append(std::string_view bytes) override { received.append(bytes); }

  int begun = 0;
  std::optional<std::uint64_t> expected;
  std::string received;
};

// Several MiB, sent at once: libcurl hands them over in many pieces.
std::string largeBody() {
  std::string body(6 << 20, '\0');
  for (std::size_t index = 0; index < body.size(); ++index)
    body[index] = static_cast<char>(index * 7 % 251);
  return body;
}

// Serves `body` with `status`; without a length, it ends where the connection ends.
RawServer serving(const std::string& status, const std::string& body, bool withLength) {
  const auto head = "HTTP/1.1 " + status + "\r\n" +
                    (withLength ? "Content-Length: " + std::to_string(body.size()) + "\r\n"
                                : "Connection: close\r\n") +
                    "\r\n";
  return RawServer([answer = head + body, withLength](RawServer&, int fd) {
    while (!RawServer::readHead(fd).empty()) {
      RawServer::send(fd, answer);
      if (!withLength) ::shutdown(fd, SHUT_WR);
    }
  });
}

TEST(URLSessionBodies, LargeBodiesArriveWholeWithAndWithoutALength) {
  const auto body = largeBody();
  for (const bool withLength : {true, false}) {
    SCOPED_TRACE(withLength ? "with Content-Length" : "without Content-Length");
    auto server = serving("200 OK", body, withLength);
    fp::URLSession session({});
    fp::URLRequest request;
    request.url = server.url();
    const auto inMemory = session.send(request);
    EXPECT_EQ(inMemory.response.statusCode, 200);
    EXPECT_EQ(inMemory.body.size(), body.size());
    EXPECT_TRUE(inMemory.body == body);

    CollectingSink sink;
    request.bodySink = &sink;
    EXPECT_TRUE(session.send(request).body.empty());
    EXPECT_EQ(sink.begun, 1);
    EXPECT_EQ(sink.expected, withLength ? std::optional<std::uint64_t>(body.size()) : std::nullopt);
    EXPECT_EQ(sink.received.size(), body.size());
    EXPECT_TRUE(sink.received == body);
  }
}

TEST(URLSessionBodies, AClaimedLengthNoMemoryHoldsIsATransportFailure) {
  RawServer boasting([](RawServer&, int fd) {
    RawServer::readHead(fd);
    RawServer::send(fd, "HTTP/1.1 200 OK\r\nContent-Length: 1000000000000000\r\n\r\nabc");
    ::shutdown(fd, SHUT_WR);
  });
  EXPECT_EQ(failureOf(boasting.url()).code(), -1005);
}

TEST(URLSessionBodies, AnErrorAnswerStaysInMemoryAndNeverReachesTheSink) {
  const auto body = largeBody();
  auto server = serving("500 Internal Server Error", body, true);
  fp::URLSession session({});
  fp::URLRequest request;
  request.url = server.url();
  CollectingSink sink;
  request.bodySink = &sink;
  const auto answer = session.send(request);
  EXPECT_EQ(answer.response.statusCode, 500);
  EXPECT_TRUE(answer.body == body);
  EXPECT_EQ(sink.begun, 0);
  EXPECT_TRUE(sink.received.empty());
}

}  // namespace
}  // namespace drive
