#pragma once

#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "api/request_layer.h"
#include "model/wire_models.h"
#include "platform/item.h"
#include "platform/thread_annotations.h"

namespace drive {

// The one client of the storage service: its storage operations over the request layer, and
// the listing cache. Safe to call from any task: the cached fields change only under its own
// lock, and no lock is held across a request.
class DriveAPI : public RequestLayer {
 public:
  static DriveAPI& shared();

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
  // The whole content; empty when the service has none (404).
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
  DriveAPI() = default;

  // Sends a changing request and drops the cached listing once it has succeeded.
  std::string sendChange(const std::string& path, const std::string& method,
                         const std::optional<Body>& body);
  void dropListingCache();

  fp::Mutex mutex_;  // never held across a request
  std::optional<DriveListing> listingCache_ GUARDED_BY(mutex_);
  std::optional<fp::Date> listingFetchedAt_ GUARDED_BY(mutex_);
  std::int64_t listingRemoteGeneration_ GUARDED_BY(mutex_) = -1;
};

}  // namespace drive
