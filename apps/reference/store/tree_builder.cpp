#include "reference/store/tree_builder.h"

#include "model/node_kinds.h"
#include "reference/store/file_types.h"
#include "reference/store/random_id.h"
#include "reference/store/service_time.h"

namespace drive::reference {
namespace {

constexpr std::string_view kEmptySHA256 =
    "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";

StorageNode plainNode(std::string_view namespaceId, std::string_view name, std::string_view kind) {
  StorageNode node;
  node.id = randomId("");
  node.namespaceId = namespaceId;
  node.name = name;
  node.kind = kind;
  node.appKind = "none";
  return node;
}

}  // namespace

TreeBuilder::TreeBuilder(TreeStore& tree, IdentityStore& identity, BlobStore& blobs,
                         std::chrono::system_clock::time_point now)
    : tree_(tree), identity_(identity), blobs_(blobs), now_(now) {}

BuiltNamespace TreeBuilder::addNamespace(std::string_view kind, std::string_view title,
                                         std::string_view role) {
  StorageNamespace space;
  space.id = randomId("");
  space.kind = kind;
  space.title = title;
  if (kind == NamespaceKind::personal) {
    space.userId = identity_.account().userId;
  } else {
    space.organizationId = randomId("org_", 6);
    space.workspaceId = randomId("ws_", 6);
  }
  StorageNode root = plainNode(space.id, title, NodeKind::folder);
  root.role = std::string(role);
  root.isPersonal = false;
  root.createdAt = root.updatedAt = formatServiceTime(now_);
  space.rootNodeId = root.id;
  tree_.putNamespace(space);
  return {space, put(root)};
}

StorageNode TreeBuilder::addFolder(const StorageNode& parent, std::string_view name,
                                   const NodeOptions& options) {
  StorageNode node = newNode(parent, name, NodeKind::folder, options);
  node.isPersonal = options.isPersonal;
  return put(node);
}

StorageNode TreeBuilder::addProject(const StorageNode& parent, std::string_view name,
                                    const NodeOptions& options) {
  return put(newNode(parent, name, NodeKind::project, options));
}

StorageNode TreeBuilder::addFile(const StorageNode& parent, std::string_view name,
                                 std::string_view content, const NodeOptions& options) {
  StorageNode node = newNode(parent, name, NodeKind::file, options);
  describeFile(node);
  node.byteSize = 0;
  node.contentHash = std::string(kEmptySHA256);
  if (content.empty()) return put(node);  // an empty file needs no blob
  auto writer = blobs_.create();
  writer->write(content.data(), content.size());
  const StoredBlob blob = writer->finish();
  node.byteSize = static_cast<std::int64_t>(blob.size);
  node.contentHash = blob.sha256;
  tree_.setBlob(node.id, blob.name);
  return put(node);
}

StorageNode TreeBuilder::addDocument(const StorageNode& parent, std::string_view name,
                                     std::string_view appKind, const NodeOptions& options) {
  StorageNode node = newNode(parent, name, NodeKind::file, options);
  node.appKind = std::string(appKind);
  node.cloudOnly = true;
  node.fileExtension = fileTypeOf(name).fileExtension;
  node.assetId = randomId("asset_", 8);
  return put(node);
}

StorageNode TreeBuilder::newNode(const StorageNode& parent, std::string_view name,
                                 std::string_view kind, const NodeOptions& options) {
  StorageNode node = plainNode(parent.namespaceId, name, kind);
  node.parentId = parent.id;
  node.inheritGrants = true;
  node.role = options.role ? options.role : parent.role;
  const auto created = now_ - options.age;
  node.createdAt = formatServiceTime(created);
  node.updatedAt = formatServiceTime(created + options.age / 2);
  if (options.trashed) node.trashedAt = formatServiceTime(now_);
  return node;
}

StorageNode TreeBuilder::put(StorageNode node) {
  tree_.putNode(node);
  return node;
}

}  // namespace drive::reference
