#include "platform/url_session.h"

#include <curl/curl.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <exception>
#include <mutex>

#include "platform/platform_error.h"
#include "platform/thread_annotations.h"
#include "platform/upload_body.h"

namespace fp {
namespace {

constexpr long kTransferBuffer = 512 * 1024;
// A claimed length is only a hint: a peer may claim more than it sends or memory holds.
constexpr std::uint64_t kLargestReservation = std::uint64_t{64} << 20;
// As many as the platform follows before it gives up.
constexpr long kMaximumRedirects = 16;

void initializeCurlOnce() {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

// The platform's code and text for each way a transfer fails; an answer that is not HTTP at
// all is a bad server response, which the platform describes only by its code.
PlatformError transportError(CURLcode code) {
  switch (code) {
    case CURLE_OPERATION_TIMEDOUT:
      return PlatformError::withDescription(NSURLErrorDomain, URLErrorCode::timedOut,
                                            "The request timed out.");
    case CURLE_COULDNT_CONNECT:
      return PlatformError::withDescription(NSURLErrorDomain, URLErrorCode::cannotConnectToHost,
                                            "Could not connect to the server.");
    case CURLE_COULDNT_RESOLVE_HOST:
      return PlatformError::withDescription(
          NSURLErrorDomain, URLErrorCode::cannotFindHost,
          "A server with the specified hostname could not be found.");
    case CURLE_URL_MALFORMAT:
      return PlatformError::withDescription(NSURLErrorDomain, URLErrorCode::badURL,
                                            "unsupported URL");
    case CURLE_TOO_MANY_REDIRECTS:
      return PlatformError::withDescription(NSURLErrorDomain, URLErrorCode::httpTooManyRedirects,
                                            "too many HTTP redirects");
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_CACERT_BADFILE:
      return PlatformError::withDescription(
          NSURLErrorDomain, URLErrorCode::secureConnectionFailed,
          "An SSL error has occurred and a secure connection to the server cannot be made.");
    // The read callback gives up with an abort, which libcurl reports as the callback's.
    case CURLE_READ_ERROR:
    case CURLE_ABORTED_BY_CALLBACK:
      return PlatformError::withDescription(NSURLErrorDomain, -1,
                                            "The file to upload could not be read.");
    // Answers from a server that does not speak HTTP: an HTTP/0.9 guess, a broken status
    // line or header, a body that does not match its encoding.
    case CURLE_UNSUPPORTED_PROTOCOL:
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_HTTP2:
    case CURLE_HTTP2_STREAM:
    case CURLE_BAD_CONTENT_ENCODING:
      return PlatformError(NSURLErrorDomain, URLErrorCode::badServerResponse);
    default:
      return PlatformError::withDescription(NSURLErrorDomain, URLErrorCode::networkConnectionLost,
                                            "The network connection was lost.");
  }
}

struct Transfer {
  CURL* handle = nullptr;
  ResponseBodySink* sink = nullptr;  // the request's, while the answer is a 2xx one
  std::string body;
  HTTPURLResponse response;
  bool started = false;
  std::exception_ptr failure;  // thrown by the sink; exceptions must not cross libcurl

  // At the first bytes: the body's destination, sized once from Content-Length instead of
  // growing through a large answer.
  void start() {
    started = true;
    curl_off_t length = -1;
    curl_easy_getinfo(handle, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
    long status = 0;
    curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
    if (status < 200 || status >= 300) sink = nullptr;
    std::optional<std::uint64_t> expected;
    if (length >= 0) expected = static_cast<std::uint64_t>(length);
    if (sink) {
      sink->begin(expected);
    } else if (expected) {
      body.reserve(static_cast<size_t>(std::min(*expected, kLargestReservation)));
    }
  }
};

size_t writeBody(char* data, size_t size, size_t count, void* user) {
  auto* transfer = static_cast<Transfer*>(user);
  const std::string_view bytes(data, size * count);
  try {
    if (!transfer->started) transfer->start();
    if (transfer->sink) {
      transfer->sink->append(bytes);
    } else {
      transfer->body.append(bytes);
    }
  } catch (...) {
    transfer->failure = std::current_exception();
    return 0;  // stops the transfer
  }
  return bytes.size();
}

size_t readHeader(char* data, size_t size, size_t count, void* user) {
  auto* transfer = static_cast<Transfer*>(user);
  std::string line(data, size * count);
  if (line.starts_with("HTTP/")) transfer->response.headers.clear();  // a new response
  const auto colon = line.find(':');
  if (colon != std::string::npos) {
    std::string name = line.substr(0, colon);
    std::transform(name.begin(), name.end(), name.begin(), ::tolower);
    const auto start = line.find_first_not_of(" \t", colon + 1);
    const auto end = line.find_last_not_of("\r\n \t");
    transfer->response.headers[name] =
        start == std::string::npos || end < start ? "" : line.substr(start, end - start + 1);
  }
  return size * count;
}

struct HeaderList {
  curl_slist* list = nullptr;
  ~HeaderList() { curl_slist_free_all(list); }
  void add(const std::string& line) { list = curl_slist_append(list, line.c_str()); }
};

}  // namespace

// Connections and DNS answers shared by every thread's handle, each kind under its own lock.
struct URLSession::Shared {
  CURLSH* share = nullptr;
  std::array<std::mutex, CURL_LOCK_DATA_LAST> locks;
  Mutex handlesMutex;
  std::vector<CURL*> idleHandles GUARDED_BY(handlesMutex);

  Shared() {
    share = curl_share_init();
    curl_share_setopt(share, CURLSHOPT_USERDATA, this);
    curl_share_setopt(share, CURLSHOPT_LOCKFUNC, lock);
    curl_share_setopt(share, CURLSHOPT_UNLOCKFUNC, unlock);
    curl_share_setopt(share, CURLSHOPT_SHARE, CURL_LOCK_DATA_CONNECT);
    curl_share_setopt(share, CURLSHOPT_SHARE, CURL_LOCK_DATA_DNS);
  }
  ~Shared() {
    for (CURL* handle : idleHandles)
      curl_easy_cleanup(handle);
    curl_share_cleanup(share);
  }
  static void lock(CURL*, curl_lock_data data, curl_lock_access, void* user) {
    static_cast<Shared*>(user)->locks[data].lock();
  }
  static void unlock(CURL*, curl_lock_data data, void* user) {
    static_cast<Shared*>(user)->locks[data].unlock();
  }
  CURL* take() {
    MutexLock guard(handlesMutex);
    if (idleHandles.empty()) return curl_easy_init();
    CURL* handle = idleHandles.back();
    idleHandles.pop_back();
    curl_easy_reset(handle);
    return handle;
  }
  void give(CURL* handle) {
    MutexLock guard(handlesMutex);
    idleHandles.push_back(handle);
  }
};

URLSession::URLSession(Configuration configuration)
    : configuration_(configuration), shared_((initializeCurlOnce(), std::make_unique<Shared>())) {}

URLSession::~URLSession() = default;

URLSession& URLSession::shared() {
  static URLSession& session = *new URLSession(Configuration{});  // outlives every task
  return session;
}

URLResponse URLSession::send(const URLRequest& request) {
  Transfer transfer;
  transfer.handle = shared_->take();
  transfer.sink = request.bodySink;
  struct Return {
    Shared& shared;
    CURL* handle;
    ~Return() { shared.give(handle); }
  } giveBack{*shared_, transfer.handle};
  CURL* curl = transfer.handle;

  HeaderList headers;
  for (const auto& [name, value] : request.headers)
    headers.add(name + ": " + value);
  headers.add("Expect:");  // no 100-continue round trip before uploads

  std::optional<UploadBody> file;
  if (request.bodyFile) {
    file.emplace(*request.bodyFile);
    curl_easy_setopt(curl, CURLOPT_UPLOAD, 1L);
    curl_easy_setopt(curl, CURLOPT_READFUNCTION, UploadBody::read);
    curl_easy_setopt(curl, CURLOPT_READDATA, &*file);
    curl_easy_setopt(curl, CURLOPT_INFILESIZE_LARGE, curl_off_t(file->size()));
  } else if (request.body) {
    curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE, curl_off_t(request.body->size()));
    curl_easy_setopt(curl, CURLOPT_POSTFIELDS, request.body->data());
  }

  const auto idle = std::max(request.timeout, std::chrono::milliseconds(1));
  const auto idleSeconds = std::max<long>(1, static_cast<long>((idle.count() + 999) / 1000));
  curl_easy_setopt(curl, CURLOPT_URL, request.url.c_str());
  curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, request.method.c_str());
  curl_easy_setopt(curl, CURLOPT_NOBODY, request.method == "HEAD" ? 1L : 0L);
  curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers.list);
  curl_easy_setopt(curl, CURLOPT_SHARE, shared_->share);
  curl_easy_setopt(curl, CURLOPT_PATH_AS_IS, 1L);
  curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT_MS, long(idle.count()));
  curl_easy_setopt(curl, CURLOPT_LOW_SPEED_LIMIT, 1L);
  curl_easy_setopt(curl, CURLOPT_LOW_SPEED_TIME, idleSeconds);
  const auto total = std::min(configuration_.resourceTimeout,
                              request.totalTimeout.value_or(configuration_.resourceTimeout));
  curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, long(std::max<long>(1, total.count())));
  curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L);
  curl_easy_setopt(curl, CURLOPT_MAXREDIRS, kMaximumRedirects);
  curl_easy_setopt(curl, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(curl, CURLOPT_TCP_NODELAY, 1L);
  // Large pieces: a half-GiB transfer in 16 KiB reads is 32,000 system calls and callbacks.
  curl_easy_setopt(curl, CURLOPT_BUFFERSIZE, kTransferBuffer);
  curl_easy_setopt(curl, CURLOPT_UPLOAD_BUFFERSIZE, kTransferBuffer);
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, writeBody);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &transfer);
  curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, readHeader);
  curl_easy_setopt(curl, CURLOPT_HEADERDATA, &transfer);

  const CURLcode result = curl_easy_perform(curl);
  if (transfer.failure) std::rethrow_exception(transfer.failure);
  if (file && file->cutShort()) {
    throw PlatformError::withDescription(NSURLErrorDomain, -1,
                                         "The file changed while it was being uploaded.");
  }
  if (result != CURLE_OK) throw transportError(result);
  curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &transfer.response.statusCode);
  return URLResponse{std::move(transfer.response), std::move(transfer.body)};
}

namespace {

// The URL's scheme and path when it parses as an absolute http(s) URL.
std::optional<std::pair<std::string, std::string>> schemeAndPath(const std::string& url) {
  initializeCurlOnce();
  for (unsigned char c : url) {
    if (c <= 0x20 || c == 0x7f) return std::nullopt;
  }
  CURLU* parsed = curl_url();
  std::optional<std::pair<std::string, std::string>> parts;
  char* scheme = nullptr;
  char* path = nullptr;
  if (curl_url_set(parsed, CURLUPART_URL, url.c_str(), CURLU_PATH_AS_IS) == CURLUE_OK &&
      curl_url_get(parsed, CURLUPART_SCHEME, &scheme, 0) == CURLUE_OK &&
      curl_url_get(parsed, CURLUPART_PATH, &path, 0) == CURLUE_OK) {
    parts.emplace(scheme, path);
  }
  curl_free(scheme);
  curl_free(path);
  curl_url_cleanup(parsed);
  if (parts && parts->first != "http" && parts->first != "https") return std::nullopt;
  return parts;
}

}  // namespace

bool isValidURL(const std::string& url) {
  return schemeAndPath(url).has_value();
}

bool isPlainHTTPURL(const std::string& url) {
  if (url.find_first_of("?#\\") != std::string::npos) return false;
  const auto parts = schemeAndPath(url);
  if (!parts) return false;
  const auto& path = parts->second;
  return path.find("/./") == std::string::npos && path.find("/../") == std::string::npos &&
         !path.ends_with("/.") && !path.ends_with("/..");
}

}  // namespace fp
