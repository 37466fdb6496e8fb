#include "reference/http_client.h"

#include <algorithm>

namespace drive::reference::test_support {
namespace {

size_t appendBody(char* data, size_t size, size_t count, void* target) {
  static_cast<std::string*>(target)->append(data, size * count);
  return size * count;
}

size_t toSink(char* data, size_t size, size_t count, void* target) {
  (*static_cast<std::function<void(const char*, std::size_t)>*>(target))(data, size * count);
  return size * count;
}

size_t collectHeader(char* data, size_t size, size_t count, void* target) {
  const std::string line(data, size * count);
  const auto colon = line.find(':');
  if (colon != std::string::npos) {
    std::string name = line.substr(0, colon);
    std::transform(name.begin(), name.end(), name.begin(), ::tolower);
    const auto start = line.find_first_not_of(' ', colon + 1);
    const auto end = line.find_last_not_of("\r\n");
    (*static_cast<std::map<std::string, std::string>*>(target))[name] =
        start == std::string::npos || end < start ? "" : line.substr(start, end - start + 1);
  }
  return size * count;
}

struct UploadSource {
  std::uint64_t remaining;
  std::function<void(char*, std::size_t)> fill;
};

size_t readUpload(char* buffer, size_t size, size_t count, void* source) {
  auto& upload = *static_cast<UploadSource*>(source);
  const auto length = static_cast<size_t>(std::min<std::uint64_t>(size * count, upload.remaining));
  upload.fill(buffer, length);
  upload.remaining -= length;
  return length;
}

}  // namespace

HttpClient::HttpClient(std::string baseURL, std::string token)
    : curl_(curl_easy_init()), baseURL_(std::move(baseURL)), token_(std::move(token)) {}

HttpClient::~HttpClient() {
  curl_easy_cleanup(curl_);
}

HttpResponse HttpClient::get(const std::string& path,
                             const std::map<std::string, std::string>& headers) {
  return send("GET", path, std::nullopt, headers);
}

HttpResponse HttpClient::send(const std::string& method, const std::string& path,
                              const std::optional<std::string>& body,
                              const std::map<std::string, std::string>& headers) {
  curl_easy_reset(curl_);
  auto allHeaders = headers;
  if (body) {
    curl_easy_setopt(curl_, CURLOPT_POSTFIELDS, body->c_str());
    curl_easy_setopt(curl_, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body->size()));
    allHeaders.emplace("Content-Type", "application/json");
  }
  return perform(method, path, allHeaders);
}

HttpResponse HttpClient::sendJSON(const std::string& method, const std::string& path,
                                  const nlohmann::json& body) {
  return send(method, path, std::optional<std::string>(body.dump()));
}

HttpResponse HttpClient::upload(const std::string& path, std::uint64_t size,
                                std::function<void(char*, std::size_t)> fill) {
  curl_easy_reset(curl_);
  UploadSource source{size, std::move(fill)};
  curl_easy_setopt(curl_, CURLOPT_UPLOAD, 1L);
  curl_easy_setopt(curl_, CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(size));
  curl_easy_setopt(curl_, CURLOPT_READFUNCTION, readUpload);
  curl_easy_setopt(curl_, CURLOPT_READDATA, &source);
  return perform("PUT", path, {{"Content-Type", "application/octet-stream"}});
}

HttpResponse HttpClient::download(const std::string& path,
                                  std::function<void(const char*, std::size_t)> sink) {
  curl_easy_reset(curl_);
  return perform("GET", path, {}, &sink);
}

long HttpClient::connectionsOpened() {
  long count = 0;
  curl_easy_getinfo(curl_, CURLINFO_NUM_CONNECTS, &count);
  return count;
}

// Options set before the call (a body to send) are kept; the rest is set here.
HttpResponse HttpClient::perform(const std::string& method, const std::string& path,
                                 const std::map<std::string, std::string>& headers,
                                 std::function<void(const char*, std::size_t)>* sink) {
  HttpResponse response;
  const std::string url = baseURL_ + path;
  curl_easy_setopt(curl_, CURLOPT_URL, url.c_str());
  curl_easy_setopt(curl_, CURLOPT_CUSTOMREQUEST, method.c_str());
  curl_easy_setopt(curl_, CURLOPT_TIMEOUT, 60L);
  curl_easy_setopt(curl_, CURLOPT_HEADERFUNCTION, collectHeader);
  curl_easy_setopt(curl_, CURLOPT_HEADERDATA, &response.headers);
  if (sink) {
    curl_easy_setopt(curl_, CURLOPT_WRITEFUNCTION, toSink);
    curl_easy_setopt(curl_, CURLOPT_WRITEDATA, sink);
  } else {
    curl_easy_setopt(curl_, CURLOPT_WRITEFUNCTION, appendBody);
    curl_easy_setopt(curl_, CURLOPT_WRITEDATA, &response.body);
  }
  curl_slist* list = nullptr;
  if (!token_.empty()) list = curl_slist_append(list, ("Authorization: Bearer " + token_).c_str());
  for (const auto& [name, value] : headers)
    list = curl_slist_append(list, (name + ": " + value).c_str());
  curl_easy_setopt(curl_, CURLOPT_HTTPHEADER, list);
  response.error = curl_easy_perform(curl_);
  curl_easy_getinfo(curl_, CURLINFO_RESPONSE_CODE, &response.status);
  curl_slist_free_all(list);
  return response;
}

}  // namespace drive::reference::test_support
