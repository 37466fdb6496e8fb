#include "reference/store/storage_service.h"

#include <iostream>

#include "model/node_kinds.h"
#include "reference/http/service_error.h"
#include "reference/store/file_types.h"
#include "reference/store/service_time.h"
#include "reference/store/tree_builder.h"

namespace drive::reference {
namespace {

constexpr std::size_t kMaxNameBytes = 1024;
constexpr auto kPairingLifetime = std::chrono::hours(24 * 90);

bool roleAllowsChange(const StorageNode& node) {
  return node.role == "owner" || node.role == "editor";
}

void checkName(std::string_view name) {
  const bool blank = name.find_first_not_of(" \t\r\n") == std::string_view::npos;
  if (blank || name.size() > kMaxNameBytes || name.find('/') != std::string_view::npos ||
      name.find('\0') != std::string_view::npos) {
    throw ServiceError::badRequest("Invalid name");
  }
}

TreeChange updated(std::vector<ContainerRef> containers, const std::string& nodeId) {
  TreeChange change;
  change.containers = std::move(containers);
  change.updatedNodeIds = {nodeId};
  return change;
}

std::string bearerToken(std::string_view authorization) {
  constexpr std::string_view kScheme = "Bearer ";
  if (authorization.size() <= kScheme.size() || !authorization.starts_with(kScheme)) {
    throw ServiceError::unauthorized("Sign in required");
  }
  return std::string(authorization.substr(kScheme.size()));
}

}  // namespace

StorageService::StorageService(Database& database, BlobStore& blobs,
                               std::shared_ptr<fp::Clock> clock, std::chrono::seconds tokenLifetime)
    : database_(database),
      tree_(database),
      identity_(database),
      blobs_(blobs),
      clock_(std::move(clock)),
      tokenLifetime_(tokenLifetime) {}

void StorageService::setChangeListener(std::function<void(const TreeChange&)> listener) {
  fp::MutexLock lock(listenerMutex_);
  listener_ = std::move(listener);
}

template <typename Work>
auto StorageService::exclusive(Work&& work) {
  struct Announcer {
    StorageService& service;
    ~Announcer() { service.announce(); }
  } announcer{*this};
  fp::MutexLock lock(mutex_);
  return work();
}

Caller StorageService::authenticate(std::string_view authorization) {
  const std::string token = bearerToken(authorization);
  return exclusive([&]() REQUIRES(mutex_) {
    const auto record = validToken(token);
    return Caller{record.app == kDriveApp ? ChangeOrigin::provider : ChangeOrigin::otherClient};
  });
}

IssuedAppToken StorageService::refresh(std::string_view authorization) {
  const std::string token = bearerToken(authorization);
  return exclusive([&]() REQUIRES(mutex_) {
    const auto old = validToken(token);
    Transaction transaction(database_);
    identity_.retire(token);
    auto issued = identity_.issue(old.app, clock_->now() + tokenLifetime_, old.pairingExpiresAt);
    transaction.commit();
    return issued;
  });
}

DriveSession StorageService::issueSession(std::string_view app,
                                          std::chrono::system_clock::time_point expiresAt) {
  return exclusive([&]() REQUIRES(mutex_) {
    const auto issued =
        identity_.issue(app, expiresAt, formatServiceTime(clock_->now() + kPairingLifetime));
    return DriveSession{issued.token, issued.id, identity_.account().email, issued.expiresAt,
                        issued.pairingExpiresAt.value_or("")};
  });
}

bool StorageService::setTokenExpiry(std::string_view token,
                                    std::chrono::system_clock::time_point expiresAt) {
  return exclusive([&]() REQUIRES(mutex_) { return identity_.setExpiry(token, expiresAt); });
}

DriveListing StorageService::listing() {
  return exclusive([&]() REQUIRES(mutex_) {
    return DriveListing{tree_.namespaces(), tree_.roots()};
  });
}

StorageNode StorageService::node(std::string_view id) {
  return exclusive([&]() REQUIRES(mutex_) {
    auto found = tree_.node(id);
    if (!found) throw ServiceError::notFound();
    return *found;
  });
}

NodeChildren StorageService::children(std::string_view id) {
  return exclusive([&]() REQUIRES(mutex_) {
    auto parent = tree_.node(id);
    if (!parent) throw ServiceError::notFound();
    if (!isContainerNode(*parent)) throw ServiceError::badRequest("Not a folder");
    return NodeChildren{std::move(parent), tree_.children(id)};
  });
}

StorageNode StorageService::create(const Caller& caller, std::string_view parentId,
                                   std::string_view name, std::string_view kind) {
  if (kind != NodeKind::folder && kind != NodeKind::project && kind != NodeKind::file) {
    throw ServiceError::badRequest("Unknown kind");
  }
  checkName(name);
  return exclusive([&]() REQUIRES(mutex_) {
    const StorageNode parent = targetFolder(caller, parentId);
    checkFreeName(parentId, name, "");
    TreeBuilder builder(tree_, identity_, blobs_, clock_->now());
    Transaction transaction(database_);
    const StorageNode node = kind == NodeKind::folder    ? builder.addFolder(parent, name)
                             : kind == NodeKind::project ? builder.addProject(parent, name)
                                                         : builder.addFile(parent, name, "");
    transaction.commit();
    record(caller, updated({containerOf(node.parentId)}, node.id));
    return node;
  });
}

StorageNode StorageService::rename(const Caller& caller, std::string_view id,
                                   std::string_view name) {
  checkName(name);
  return exclusive([&]() REQUIRES(mutex_) {
    StorageNode node = writableNode(caller, id);
    if (node.name == name) return node;
    checkFreeName(node.parentId.value_or(""), name, node.id);
    node.name = std::string(name);
    node.updatedAt = timestamp();
    describeFile(node);
    tree_.putNode(node);
    record(caller, updated({containerOf(node.parentId)}, node.id));
    return node;
  });
}

StorageNode StorageService::move(const Caller& caller, std::string_view id,
                                 std::string_view parentId) {
  return exclusive([&]() REQUIRES(mutex_) {
    StorageNode node = writableNode(caller, id);
    const StorageNode parent = targetFolder(caller, parentId);
    if (isInside(parent, node.id)) {
      throw ServiceError::badRequest("A folder can't be moved into itself");
    }
    checkFreeName(parent.id, node.name, node.id);
    const auto oldParent = node.parentId;
    node.parentId = parent.id;
    node.updatedAt = timestamp();
    Transaction transaction(database_);
    if (node.namespaceId != parent.namespaceId) {
      tree_.moveSubtreeToNamespace(node.id, parent.namespaceId);
      node.namespaceId = parent.namespaceId;
    }
    tree_.putNode(node);
    transaction.commit();
    record(caller, updated({containerOf(oldParent), containerOf(node.parentId)}, node.id));
    return node;
  });
}

void StorageService::trash(const Caller& caller, std::string_view id) {
  exclusive([&]() REQUIRES(mutex_) {
    auto node = tree_.node(id);
    if (!node) throw ServiceError::notFound();
    if (node->trashedAt) return;  // deleting twice is no error
    node = writableNode(caller, id);
    node->trashedAt = node->updatedAt = timestamp();
    tree_.putNode(*node);
    TreeChange change;
    change.containers = {containerOf(node->parentId)};
    change.deletedNodeIds = {node->id};
    record(caller, std::move(change));
  });
}

void StorageService::checkUpload(const Caller& caller, std::string_view id) {
  exclusive([&]() REQUIRES(mutex_) {
    if (isContainerNode(writableNode(caller, id))) throw ServiceError::badRequest("Not a file");
  });
}

StorageNode StorageService::commitUpload(const Caller& caller, std::string_view id,
                                         const StoredBlob& blob) {
  return exclusive([&]() REQUIRES(mutex_) {
    StorageNode node;
    try {
      node = writableNode(caller, id);
      if (isContainerNode(node)) throw ServiceError::badRequest("Not a file");
    } catch (const ServiceError&) {
      blobs_.remove(blob.name);  // the node went away while the body arrived
      throw;
    }
    node.byteSize = static_cast<std::int64_t>(blob.size);
    node.contentHash = blob.sha256;
    node.updatedAt = timestamp();
    const auto oldBlob = tree_.blobOf(node.id);
    Transaction transaction(database_);
    tree_.putNode(node);
    tree_.setBlob(node.id, blob.name);
    transaction.commit();
    if (oldBlob) blobs_.remove(*oldBlob);  // readers that opened it keep their descriptor
    record(caller, updated({containerOf(node.parentId)}, node.id));
    return node;
  });
}

std::pair<StorageNode, std::unique_ptr<OpenBlob>> StorageService::content(std::string_view id) {
  return exclusive([&]() REQUIRES(mutex_) {
    auto node = tree_.node(id);
    if (!node) throw ServiceError::notFound();
    if (isContainerNode(*node)) throw ServiceError::badRequest("Not a file");
    const auto blob = tree_.blobOf(node->id);
    std::unique_ptr<OpenBlob> open = blob ? blobs_.open(*blob) : nullptr;
    if (!open && node->byteSize != 0) throw ServiceError(404, "No content");
    return std::make_pair(std::move(*node), std::move(open));
  });
}

void StorageService::edit(const std::function<void(TreeStore&, IdentityStore&)>& work) {
  exclusive([&]() REQUIRES(mutex_) {
    Transaction transaction(database_);
    work(tree_, identity_);
    transaction.commit();
  });
}

TokenRecord StorageService::validToken(const std::string& token) {
  const auto record = identity_.find(token);
  if (!record || record->retired) throw ServiceError::unauthorized("Invalid token");
  if (clock_->now() >= record->expiresAt) throw ServiceError::unauthorized("Token expired");
  return *record;
}

StorageNode StorageService::liveNode(std::string_view id) {
  auto node = tree_.node(id);
  if (!node || node->trashedAt) throw ServiceError::notFound();
  return *node;
}

bool StorageService::isInside(const StorageNode& folder, std::string_view ancestorId) {
  for (std::optional<StorageNode> up = folder; up;
       up = up->parentId ? tree_.node(*up->parentId) : std::nullopt) {
    if (up->id == ancestorId) return true;
  }
  return false;
}

StorageNode StorageService::writableNode(const Caller& caller, std::string_view id) {
  StorageNode node = liveNode(id);
  if (!node.parentId) throw ServiceError(403, "The top folder of a space can't be changed");
  if (caller.checkRoles && !roleAllowsChange(node)) throw ServiceError::forbidden();
  return node;
}

StorageNode StorageService::targetFolder(const Caller& caller, std::string_view id) {
  StorageNode folder = liveNode(id);
  if (!isContainerNode(folder)) throw ServiceError::badRequest("Not a folder");
  if (caller.checkRoles && !roleAllowsChange(folder)) throw ServiceError::forbidden();
  return folder;
}

void StorageService::checkFreeName(std::string_view parentId, std::string_view name,
                                   std::string_view exceptId) {
  if (tree_.nameTaken(parentId, name, exceptId)) throw ServiceError::conflict();
}

ContainerRef StorageService::containerOf(const std::optional<std::string>& nodeId) {
  if (!nodeId) return {};
  for (const auto& space : tree_.namespaces()) {
    if (space.rootNodeId == *nodeId) return {*nodeId, space.id};
  }
  return {*nodeId, std::nullopt};
}

void StorageService::record(const Caller& caller, TreeChange change) {
  change.origin = caller.origin;
  unannounced_.push_back(std::move(change));
}

// Listeners run outside the store's lock, one change at a time and in order.
void StorageService::announce() {
  fp::MutexLock listenerLock(listenerMutex_);
  std::vector<TreeChange> changes;
  {
    fp::MutexLock lock(mutex_);
    changes.swap(unannounced_);
  }
  if (!listener_) return;
  for (const auto& change : changes) {
    try {
      listener_(change);
    } catch (const std::exception& error) {
      // A watcher that fails must not undo a change that is already stored.
      std::cerr << "pralodrive-reference: change not announced: " << error.what() << "\n";
    }
  }
}

std::string StorageService::timestamp() const {
  return formatServiceTime(clock_->now());
}

}  // namespace drive::reference
