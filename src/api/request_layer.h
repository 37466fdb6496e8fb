#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "model/wire_models.h"
#include "platform/url_session.h"

namespace drive {

// The service's transport: requests with the signed-in session, refreshing the token when it
// is about to expire and retrying once after a 401. Holds no lock across a request.
class RequestLayer {
 public:
  using Body = std::map<std::string, std::string>;

  // The absolute URL of a service path. Throws when the path would not stand as written
  // (an id that smuggles in a query, a fragment, a dot segment or a blank).
  std::string requestURL(const std::string& path) const;

  // One bare request; no session handling, no retry. A 2xx body goes to `content` when given
  // (the returned bytes are then empty).
  std::string perform(const std::string& path, const std::string& method,
                      const std::optional<Body>& body, const std::optional<std::string>& token,
                      fp::ResponseBodySink* content = nullptr);

  // The body of a 2xx answer, or the error the status stands for. Takes the answer whole so
  // that a large body is moved out, not copied.
  static std::string checkResponse(fp::URLResponse answer);

  // The record, or the service's message, or a decoding failure.
  template <typename Record>
  static Record decodeBody(const std::string& bytes);

  // The stored session, refreshed first when it expires within two hours or when forced.
  std::optional<DriveSession> validSession(bool forceRefresh);

  // Authenticated JSON request, refreshing the token and retrying once after a 401.
  std::string send(const std::string& path, const std::string& method,
                   const std::optional<Body>& body = std::nullopt,
                   fp::ResponseBodySink* content = nullptr);

  // Authenticated PUT of raw bytes, streamed from `fileURL` when given; retried like send.
  std::string upload(const std::string& path, const std::optional<std::filesystem::path>& fileURL,
                     const std::optional<std::string>& bytes);

  // The "email" (else "username") of a dotted token's payload.
  static std::optional<std::string> emailFromToken(const std::string& token);

 protected:
  RequestLayer();

 private:
  // Steps shared by send and upload: a session, fetched from the companion when none.
  DriveSession requireSession();
  DriveSession refreshedSession();
  // Runs `request` with the session's token; after a 401, once more with a refreshed one.
  std::string withSession(const std::function<std::string(const std::string& token)>& request);
  std::string putContent(const std::string& path, const std::optional<std::filesystem::path>& file,
                         const std::optional<std::string>& bytes, const std::string& token);

  fp::URLSession session_;
};

}  // namespace drive
