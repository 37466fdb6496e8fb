#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "api/wire_models.h"
#include "platform/item.h"
#include "platform/url_session.h"

namespace drive {

// The one client of the storage service. Safe to call from any task: its cached fields
// change only under its own lock, and no lock is held across a request.
class DriveAPI {
 public:
  using Body = std::map<std::string, std::string>;

  static DriveAPI& shared();

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

  // Storage operations. Ids go into paths as issued; one that would leave its path segment
  // is refused before anything is sent.
  DriveListing listing(bool forceRefresh);
  StorageNode node(const std::string& id);
  std::vector<StorageNode> children(const std::string& id);
  StorageNode createNode(const std::string& parentId, const std::string& name,
                         const std::string& kind);
  StorageNode renameNode(const std::string& id, const std::string& name);
  StorageNode moveNode(const std::string& id, const std::string& parentId);
  void deleteNode(const std::string& id);
  StorageNode uploadContent(const std::string& id,
                            const std::optional<std::filesystem::path>& fileURL,
                            const std::optional<std::string>& bytes);
  // The whole content, into `content`; nothing when the service has none (404).
  void downloadContent(const std::string& id, fp::ResponseBodySink& content);

  std::optional<StorageNamespace> namespaceWithId(const std::string& id, bool forceRefresh);
  std::optional<StorageNamespace> namespaceWithRoot(const std::string& rootNodeId,
                                                    bool forceRefresh);
  bool isPersonalNamespace(const std::string& namespaceId);
  // The first child whose trimmed, lower-cased name matches `name` treated the same way.
  std::optional<StorageNode> childNamed(const std::string& parentId, const std::string& name);

  // Forgets the cached listing; for tests, which start each case as a new process would.
  void resetListingCacheForTesting();

 private:
  DriveAPI();
  // Steps shared by send and upload: a session, fetched from the companion when none.
  DriveSession requireSession();
  DriveSession refreshedSession();
  // Runs `request` with the session's token; after a 401, once more with a refreshed one.
  std::string withSession(const std::function<std::string(const std::string& token)>& request);
  std::string putContent(const std::string& path, const std::optional<std::filesystem::path>& file,
                         const std::optional<std::string>& bytes, const std::string& token);

  // Sends a changing request and drops the cached listing once it has succeeded.
  std::string sendChange(const std::string& path, const std::string& method,
                         const std::optional<Body>& body);
  void dropListingCache();

  fp::URLSession session_;
  std::mutex mutex_;  // guards the listing fields below, never held across a request
  std::optional<DriveListing> listingCache_;
  std::optional<fp::Date> listingFetchedAt_;
  std::int64_t listingRemoteGeneration_ = -1;
};

}  // namespace drive
