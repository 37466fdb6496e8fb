#include "api/drive_api.h"

#include <algorithm>

#include "app_group/remote_refresh.h"
#include "model/drive_api_error.h"
#include "model/name_rules.h"
#include "model/node_kinds.h"
#include "platform/environment.h"
#include "platform/platform_error.h"
#include "platform/thread_annotations.h"

namespace drive {
namespace {

constexpr auto kListingFreshness = std::chrono::seconds(30);

bool isPlainCharacter(unsigned char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
         c == '_';
}

// Nothing in it would be read as a query, a fragment or a dot segment. The service's own ids
// are letters and digits, which need no URL parse on every request.
bool isUsableInPath(const std::string& id) {
  return std::all_of(id.begin(), id.end(), isPlainCharacter) ||
         fp::isPlainHTTPURL("http://127.0.0.1/" + id);
}

// "/storage/nodes/<id><suffix>": an id that would reach another endpoint is refused here.
std::string nodePath(const std::string& id, const std::string& suffix = "") {
  // Such an id names nothing the service could have issued: no such item.
  if (id.empty() || id.find('/') != std::string::npos || !isUsableInPath(id)) {
    throw fp::PlatformError(fp::NSFileProviderErrorDomain, fp::FileProviderErrorCode::noSuchItem);
  }
  return "/storage/nodes/" + id + suffix;
}

fp::Date now() {
  return fp::Date(fp::Environment::current()->clock->now());
}

template <typename Predicate>
std::optional<StorageNamespace> firstNamespace(const DriveListing& listing, Predicate matches) {
  for (const auto& storageNamespace : listing.namespaces) {
    if (matches(storageNamespace)) return storageNamespace;
  }
  return std::nullopt;
}

}  // namespace

// Never destroyed, like the process's one client: a task may still use it while statics go.
DriveAPI& DriveAPI::shared() {
  static DriveAPI& api = *new DriveAPI;
  return api;
}

DriveListing DriveAPI::listing(bool forceRefresh) {
  const std::int64_t generation = DriveRemoteRefresh::read().generation;
  if (!forceRefresh) {
    fp::MutexLock lock(mutex_);
    if (listingCache_ && listingFetchedAt_ && listingRemoteGeneration_ == generation &&
        now() - *listingFetchedAt_ < kListingFreshness) {
      return *listingCache_;
    }
  }
  auto fetched = decodeBody<DriveListing>(send("/storage/listing", "GET"));
  fp::MutexLock lock(mutex_);
  listingCache_ = fetched;
  listingFetchedAt_ = now();
  listingRemoteGeneration_ = generation;
  return fetched;
}

StorageNode DriveAPI::node(const std::string& id) {
  return decodeBody<StorageNode>(send(nodePath(id), "GET"));
}

std::vector<StorageNode> DriveAPI::children(const std::string& id) {
  return decodeBody<NodeChildren>(send(nodePath(id, "/children"), "GET")).children;
}

StorageNode DriveAPI::createNode(const std::string& parentId, const std::string& name,
                                 const std::string& kind) {
  return decodeBody<StorageNode>(sendChange(
      "/storage/nodes", "POST", Body{{"parentId", parentId}, {"name", name}, {"kind", kind}}));
}

StorageNode DriveAPI::renameNode(const std::string& id, const std::string& name) {
  return decodeBody<StorageNode>(sendChange(nodePath(id), "PATCH", Body{{"name", name}}));
}

StorageNode DriveAPI::moveNode(const std::string& id, const std::string& parentId) {
  return decodeBody<StorageNode>(
      sendChange(nodePath(id, "/move"), "POST", Body{{"parentId", parentId}}));
}

void DriveAPI::deleteNode(const std::string& id) {
  sendChange(nodePath(id), "DELETE", std::nullopt);
}

StorageNode DriveAPI::uploadContent(const std::string& id,
                                    const std::optional<std::filesystem::path>& fileURL,
                                    const std::optional<std::string>& bytes) {
  auto answer = upload(nodePath(id, "/content"), fileURL, bytes);
  dropListingCache();
  return decodeBody<StorageNode>(answer);
}

void DriveAPI::downloadContent(const std::string& id, fp::ResponseBodySink& content) {
  try {
    send(nodePath(id, "/content"), "GET", std::nullopt, &content);
  } catch (const DriveAPIError& error) {
    if (error.which() != DriveAPIError::Case::http || error.status() != 404) throw;
  }
}

std::optional<StorageNamespace> DriveAPI::namespaceWithId(const std::string& id,
                                                          bool forceRefresh) {
  return firstNamespace(listing(forceRefresh),
                        [&](const StorageNamespace& candidate) { return candidate.id == id; });
}

std::optional<StorageNamespace> DriveAPI::namespaceWithRoot(const std::string& rootNodeId,
                                                            bool forceRefresh) {
  return firstNamespace(listing(forceRefresh), [&](const StorageNamespace& candidate) {
    return candidate.rootNodeId == rootNodeId;
  });
}

bool DriveAPI::isPersonalNamespace(const std::string& namespaceId) {
  return firstNamespace(listing(false),
                        [&](const StorageNamespace& candidate) {
                          return candidate.id == namespaceId &&
                                 isPersonalNamespaceRecord(candidate);
                        })
      .has_value();
}

std::optional<StorageNode> DriveAPI::childNamed(const std::string& parentId,
                                                const std::string& name) {
  const auto key = nameKey(name);
  for (auto& child : children(parentId)) {
    if (nameKey(child.name) == key) return std::move(child);
  }
  return std::nullopt;
}

std::string DriveAPI::sendChange(const std::string& path, const std::string& method,
                                 const std::optional<Body>& body) {
  auto answer = send(path, method, body);
  dropListingCache();
  return answer;
}

void DriveAPI::dropListingCache() {
  fp::MutexLock lock(mutex_);
  listingCache_.reset();
}

void DriveAPI::resetListingCacheForTesting() {
  fp::MutexLock lock(mutex_);
  listingCache_.reset();
  listingFetchedAt_.reset();
  listingRemoteGeneration_ = -1;
}

}  // namespace drive
