#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "model/wire_models.h"
#include "platform/environment.h"
#include "platform/thread_annotations.h"
#include "reference/store/blob_store.h"
#include "reference/store/identity_store.h"
#include "reference/store/tree_change.h"
#include "reference/store/tree_store.h"

namespace drive::reference {

// The app whose tokens the companion hands to the provider; its changes are the provider's own.
inline constexpr std::string_view kDriveApp = "eu.vantrel.drive";

// Who makes a change, and whether the signed-in user's role must allow it (another client
// may be a workspace owner).
struct Caller {
  ChangeOrigin origin = ChangeOrigin::provider;
  bool checkRoles = true;
};

// The service's rules over the stores: authentication, roles, names, the trash and contents.
// Refusals are ServiceError. Safe to call from many threads.
class StorageService {
 public:
  StorageService(Database& database, BlobStore& blobs, std::shared_ptr<fp::Clock> clock,
                 std::chrono::seconds tokenLifetime);

  void setChangeListener(std::function<void(const TreeChange&)> listener);

  // From the value of an "Authorization" header.
  Caller authenticate(std::string_view authorization);
  IssuedAppToken refresh(std::string_view authorization);
  DriveSession issueSession(std::string_view app, std::chrono::system_clock::time_point expiresAt);
  bool setTokenExpiry(std::string_view token, std::chrono::system_clock::time_point expiresAt);
  std::chrono::system_clock::time_point now() const { return clock_->now(); }
  std::chrono::seconds tokenLifetime() const { return tokenLifetime_; }

  DriveListing listing();
  StorageNode node(std::string_view id);
  NodeChildren children(std::string_view id);

  StorageNode create(const Caller& caller, std::string_view parentId, std::string_view name,
                     std::string_view kind);
  StorageNode rename(const Caller& caller, std::string_view id, std::string_view name);
  StorageNode move(const Caller& caller, std::string_view id, std::string_view parentId);
  void trash(const Caller& caller, std::string_view id);

  // Uploads are checked before the body is read and committed once it is stored.
  void checkUpload(const Caller& caller, std::string_view id);
  std::unique_ptr<BlobStore::Writer> newBlob() { return blobs_.create(); }
  StorageNode commitUpload(const Caller& caller, std::string_view id, const StoredBlob& blob);
  // The node and its content, open for reading; no blob for an empty file.
  std::pair<StorageNode, std::unique_ptr<OpenBlob>> content(std::string_view id);

  // Runs `work` alone on the stores, in one transaction.
  void edit(const std::function<void(TreeStore&, IdentityStore&)>& work);

 private:
  // Runs `work` under the store's lock, then tells the listener what it changed.
  template <typename Work>
  auto exclusive(Work&& work);
  TokenRecord validToken(const std::string& token) REQUIRES(mutex_);
  StorageNode liveNode(std::string_view id) REQUIRES(mutex_);
  bool isInside(const StorageNode& folder, std::string_view ancestorId) REQUIRES(mutex_);
  StorageNode writableNode(const Caller& caller, std::string_view id) REQUIRES(mutex_);
  StorageNode targetFolder(const Caller& caller, std::string_view id) REQUIRES(mutex_);
  void checkFreeName(std::string_view parentId, std::string_view name, std::string_view exceptId)
      REQUIRES(mutex_);
  ContainerRef containerOf(const std::optional<std::string>& nodeId) REQUIRES(mutex_);
  void record(const Caller& caller, TreeChange change) REQUIRES(mutex_);
  void announce() EXCLUDES(mutex_);
  std::string timestamp() const;

  fp::Mutex mutex_;
  Database& database_;
  TreeStore tree_ GUARDED_BY(mutex_);
  IdentityStore identity_ GUARDED_BY(mutex_);
  BlobStore& blobs_;
  std::shared_ptr<fp::Clock> clock_;
  std::chrono::seconds tokenLifetime_;
  fp::Mutex listenerMutex_;
  std::function<void(const TreeChange&)> listener_ GUARDED_BY(listenerMutex_);
  std::vector<TreeChange> unannounced_ GUARDED_BY(mutex_);
};

}  // namespace drive::reference
