#pragma once

#include <curl/curl.h>

#include <cstdint>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

namespace drive::reference::test_support {

struct HttpResponse {
  CURLcode error = CURLE_OK;
  long status = 0;
  std::string body;
  std::map<std::string, std::string> headers;  // names in lower case

  nlohmann::json json() const { return nlohmann::json::parse(body); }
  std::string message() const { return json().at("message").get<std::string>(); }
};

// A libcurl client on one easy handle, so its requests share a keep-alive connection.
class HttpClient {
 public:
  explicit HttpClient(std::string baseURL, std::string token = {});
  ~HttpClient();
  HttpClient(const HttpClient&) = delete;
  HttpClient& operator=(const HttpClient&) = delete;

  void setToken(std::string token) { token_ = std::move(token); }

  HttpResponse get(const std::string& path, const std::map<std::string, std::string>& headers = {});
  // A JSON body, sent as "application/json".
  HttpResponse send(const std::string& method, const std::string& path,
                    const std::optional<std::string>& body = std::nullopt,
                    const std::map<std::string, std::string>& headers = {});
  HttpResponse sendJSON(const std::string& method, const std::string& path,
                        const nlohmann::json& body);
  // PUT of `size` bytes that `fill` produces piece by piece, never held whole.
  HttpResponse upload(const std::string& path, std::uint64_t size,
                      std::function<void(char* buffer, std::size_t length)> fill);
  // GET whose body goes to `sink` piece by piece instead of into the response.
  HttpResponse download(const std::string& path,
                        std::function<void(const char* data, std::size_t length)> sink);
  // How many connections the handle has opened so far.
  long connectionsOpened();

 private:
  HttpResponse perform(const std::string& method, const std::string& path,
                       const std::map<std::string, std::string>& headers,
                       std::function<void(const char*, std::size_t)>* sink = nullptr);

  CURL* curl_;
  std::string baseURL_;
  std::string token_;
};

}  // namespace drive::reference::test_support
