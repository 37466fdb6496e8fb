#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace fp {

// Where the body of a successful (2xx) answer goes instead of memory. Answers with any other
// status stay in memory, for their error description. Either call may throw; the transfer
// then stops and send() rethrows.
class ResponseBodySink {
 public:
  virtual ~ResponseBodySink() = default;
  // Before the first bytes, with the answer's Content-Length when it gave one.
  virtual void begin(std::optional<std::uint64_t> expectedLength) = 0;
  virtual void append(std::string_view bytes) = 0;
};

struct URLRequest {
  std::string url;
  std::string method = "GET";
  std::vector<std::pair<std::string, std::string>> headers;
  // The body: bytes in memory, or streamed from a file (never read whole).
  std::optional<std::string> body;
  std::optional<std::filesystem::path> bodyFile;
  // Not owned; when set, a 2xx answer's body goes there and URLResponse::body stays empty.
  ResponseBodySink* bodySink = nullptr;
  // Longest wait for the next bytes, as the platform's request time-out.
  std::chrono::milliseconds timeout{60000};
  // Longest the whole request may take, whatever the peer does; the session's when none.
  std::optional<std::chrono::milliseconds> totalTimeout;
};

struct HTTPURLResponse {
  long statusCode = 0;
  // Header names in lower case.
  std::map<std::string, std::string> headers;
};

struct URLResponse {
  HTTPURLResponse response;
  std::string body;
};

// Stand-in for NSURLSession over libcurl. Connections are kept alive and shared by all
// threads; nothing is cached, no cookies or credentials are kept. Transport failures throw
// PlatformError in NSURLErrorDomain with the platform's codes and texts.
class URLSession {
 public:
  struct Configuration {
    std::chrono::milliseconds requestTimeout{60000};       // idle time, per request
    std::chrono::milliseconds resourceTimeout{604800000};  // whole transfer
  };

  explicit URLSession(Configuration configuration);
  ~URLSession();
  URLSession(const URLSession&) = delete;
  URLSession& operator=(const URLSession&) = delete;

  // The process's default session (NSURLSession.sharedSession).
  static URLSession& shared();

  URLResponse send(const URLRequest& request);

 private:
  struct Shared;
  Configuration configuration_;
  std::unique_ptr<Shared> shared_;
};

// True when `url` parses as an absolute http(s) URL with no blank or control character, as
// the platform's URL type would accept it.
bool isValidURL(const std::string& url);

// True when `url` is an absolute http(s) URL without query or fragment whose path stands as
// written: nothing in it would be re-read as a query, fragment or dot segment.
bool isPlainHTTPURL(const std::string& url);

}  // namespace fp
