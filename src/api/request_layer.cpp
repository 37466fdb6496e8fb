#include "api/request_layer.h"

#include <nlohmann/json.hpp>

#include "model/drive_api_error.h"
#include "model/timestamp.h"
#include "platform/base64.h"
#include "platform/environment.h"
#include "platform/platform_error.h"
#include "platform/utf8.h"
#include "session/session_store.h"

namespace drive {
namespace {

constexpr auto kRequestTimeout = std::chrono::seconds(60);
constexpr auto kRefreshMargin = std::chrono::seconds(7200);
// Bounds on what an answer may cost: a description is shown and traced, a record is parsed
// whole into memory. Content downloads are not records and stay whole.
constexpr std::size_t kLongestDescription = 1024;
constexpr std::size_t kLargestRecord = std::size_t{256} << 20;

fp::URLSession::Configuration ephemeralConfiguration() {
  fp::URLSession::Configuration configuration;
  configuration.requestTimeout = std::chrono::seconds(30);
  configuration.resourceTimeout = std::chrono::seconds(120);
  return configuration;
}

std::string errorMessage(const std::string& body) {
  try {
    if (auto message = decodeRecord<APIErrorBody>(body).message) {
      return fp::prefixOfCharacters(*message, kLongestDescription);
    }
  } catch (const WireDecodingError&) {
  }
  return fp::isValidUTF8(body) ? fp::prefixOfCharacters(body, kLongestDescription) : std::string();
}

}  // namespace

RequestLayer::RequestLayer() : session_(ephemeralConfiguration()) {}

std::string RequestLayer::requestURL(const std::string& path) const {
  std::string base = fp::Environment::current()->apiBaseURL;
  while (base.ends_with("/"))
    base.pop_back();
  const std::string url = base + (path.starts_with("/") ? "" : "/") + path;
  if (!fp::isPlainHTTPURL(url)) {
    throw fp::PlatformError::withDescription(
        fp::NSURLErrorDomain, fp::URLErrorCode::badURL,
        "The service path \u201c" + path + "\u201d does not form a valid URL.");
  }
  return url;
}

std::string RequestLayer::perform(const std::string& path, const std::string& method,
                                  const std::optional<Body>& body,
                                  const std::optional<std::string>& token,
                                  fp::ResponseBodySink* content) {
  fp::URLRequest request;
  request.url = requestURL(path);
  request.method = method;
  request.timeout = kRequestTimeout;
  request.headers.emplace_back("Accept", "application/json");
  if (token && !token->empty()) request.headers.emplace_back("Authorization", "Bearer " + *token);
  if (method != "GET" && body) {
    request.headers.emplace_back("Content-Type", "application/json");
    request.body = nlohmann::json(*body).dump();
  }
  request.bodySink = content;
  return checkResponse(session_.send(request));
}

std::string RequestLayer::checkResponse(fp::URLResponse answer) {
  const long status = answer.response.statusCode;
  if (status == 0) throw DriveAPIError::message("No response");
  if (status == 204) return {};
  if (status == 401) throw DriveAPIError::unauthorized();
  if (status < 200 || status >= 300) throw DriveAPIError::http(status, errorMessage(answer.body));
  return std::move(answer.body);
}

template <typename Record>
Record RequestLayer::decodeBody(const std::string& bytes) {
  if (bytes.size() > kLargestRecord) throw DriveAPIError::decoding();
  try {
    return decodeRecord<Record>(bytes);
  } catch (const WireDecodingError&) {
  }
  std::optional<std::string> message;
  try {
    message = decodeRecord<APIErrorBody>(bytes).message;
  } catch (const WireDecodingError&) {
  }
  if (message) throw DriveAPIError::message(fp::prefixOfCharacters(*message, kLongestDescription));
  throw DriveAPIError::decoding();
}

template StorageNode RequestLayer::decodeBody<StorageNode>(const std::string&);
template DriveListing RequestLayer::decodeBody<DriveListing>(const std::string&);
template NodeChildren RequestLayer::decodeBody<NodeChildren>(const std::string&);
template IssuedAppToken RequestLayer::decodeBody<IssuedAppToken>(const std::string&);

std::optional<DriveSession> RequestLayer::validSession(bool forceRefresh) {
  auto session = loadSession();
  if (!session) return std::nullopt;
  if (!forceRefresh) {
    const auto expiry = readTimestamp(session->expiresAt);
    const auto now = fp::Date(fp::Environment::current()->clock->now());
    if (expiry && *expiry - now > kRefreshMargin) return session;
  }
  const auto issued = decodeBody<IssuedAppToken>(
      perform("/me/apps/tokens/refresh", "POST", Body{}, session->token));
  DriveSession renewed = *session;
  renewed.token = issued.token;
  renewed.tokenId = issued.id;
  renewed.expiresAt = issued.expiresAt;
  renewed.pairingExpiresAt = issued.pairingExpiresAt.value_or(session->pairingExpiresAt);
  if (renewed.email.empty()) {
    renewed.email = emailFromToken(issued.token).value_or(renewed.email);
  }
  saveSession(renewed);
  return renewed;
}

DriveSession RequestLayer::requireSession() {
  if (!loadSession()) fetchSessionFromCompanion();
  validSession(false);
  auto session = loadSession();
  if (!session) throw DriveAPIError::unauthorized();
  return *session;
}

DriveSession RequestLayer::refreshedSession() {
  validSession(true);
  auto session = loadSession();
  if (!session) throw DriveAPIError::unauthorized();
  return *session;
}

std::string RequestLayer::withSession(
    const std::function<std::string(const std::string&)>& request) {
  const auto session = requireSession();
  try {
    return request(session.token);
  } catch (const DriveAPIError& error) {
    if (error.which() != DriveAPIError::Case::unauthorized) throw;
  }
  return request(refreshedSession().token);
}

std::string RequestLayer::send(const std::string& path, const std::string& method,
                               const std::optional<Body>& body, fp::ResponseBodySink* content) {
  return withSession(
      [&](const std::string& token) { return perform(path, method, body, token, content); });
}

std::string RequestLayer::upload(const std::string& path,
                                 const std::optional<std::filesystem::path>& fileURL,
                                 const std::optional<std::string>& bytes) {
  return withSession(
      [&](const std::string& token) { return putContent(path, fileURL, bytes, token); });
}

// Security-scoped access has no counterpart here: the file is simply opened.
std::string RequestLayer::putContent(const std::string& path,
                                     const std::optional<std::filesystem::path>& file,
                                     const std::optional<std::string>& bytes,
                                     const std::string& token) {
  fp::URLRequest request;
  request.url = requestURL(path);
  request.method = "PUT";
  request.timeout = kRequestTimeout;
  request.headers = {{"Accept", "application/json"},
                     {"Content-Type", "application/octet-stream"},
                     {"Authorization", "Bearer " + token}};
  if (file) {
    request.bodyFile = *file;
  } else {
    request.body = bytes.value_or(std::string());
  }
  return checkResponse(session_.send(request));
}

std::optional<std::string> RequestLayer::emailFromToken(const std::string& token) {
  std::vector<std::string> pieces;
  std::size_t start = 0;
  while (start <= token.size()) {
    const auto dot = std::min(token.find('.', start), token.size());
    if (dot > start) pieces.push_back(token.substr(start, dot - start));
    start = dot + 1;
  }
  if (pieces.size() < 2) return std::nullopt;
  std::string payload = pieces[1];
  for (char& c : payload)
    c = c == '-' ? '+' : c == '_' ? '/' : c;
  while (payload.size() % 4 != 0)
    payload += '=';
  const auto decoded = fp::Base64::decode(payload);
  if (!decoded) return std::nullopt;
  const auto json = nlohmann::json::parse(*decoded, nullptr, false);
  if (!json.is_object()) return std::nullopt;
  for (const char* key : {"email", "username"}) {
    const auto value = json.value(key, nlohmann::json());
    if (value.is_string() && !value.get<std::string>().empty()) return value.get<std::string>();
  }
  return std::nullopt;
}

}  // namespace drive
