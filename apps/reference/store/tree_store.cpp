#include "reference/store/tree_store.h"

#include <unicode/unistr.h>

namespace drive::reference {
namespace {

constexpr std::string_view kSchema = R"(
CREATE TABLE IF NOT EXISTS namespaces(
  position INTEGER PRIMARY KEY, id TEXT NOT NULL UNIQUE, kind TEXT NOT NULL,
  title TEXT NOT NULL, user_id TEXT, organization_id TEXT, workspace_id TEXT,
  root_node_id TEXT NOT NULL);
CREATE TABLE IF NOT EXISTS nodes(
  seq INTEGER PRIMARY KEY, id TEXT NOT NULL UNIQUE, namespace_id TEXT NOT NULL, parent_id TEXT,
  name TEXT NOT NULL, name_key TEXT NOT NULL, kind TEXT NOT NULL, app_kind TEXT NOT NULL,
  mime TEXT, asset_id TEXT, group_id INTEGER, inherit_grants INTEGER, byte_size INTEGER,
  content_hash TEXT, cloud_only INTEGER, extension TEXT, role TEXT, is_personal INTEGER,
  trashed_at TEXT, created_at TEXT, updated_at TEXT);
CREATE INDEX IF NOT EXISTS nodes_by_parent ON nodes(parent_id, seq);
CREATE INDEX IF NOT EXISTS nodes_by_name ON nodes(parent_id, name_key);
CREATE TABLE IF NOT EXISTS contents(node_id TEXT PRIMARY KEY, blob TEXT NOT NULL);
)";

constexpr std::string_view kNodeColumns =
    "id, namespace_id, parent_id, name, kind, app_kind, mime, asset_id, group_id, "
    "inherit_grants, byte_size, content_hash, cloud_only, extension, role, is_personal, "
    "trashed_at, created_at, updated_at";

std::string selectNodes(std::string_view where) {
  return "SELECT " + std::string(kNodeColumns) + " FROM nodes " + std::string(where);
}

StorageNode readNode(const Statement& row) {
  StorageNode node;
  node.id = row.text(0);
  node.namespaceId = row.text(1);
  node.parentId = row.optionalText(2);
  node.name = row.text(3);
  node.kind = row.text(4);
  node.appKind = row.text(5);
  node.mime = row.optionalText(6);
  node.assetId = row.optionalText(7);
  node.groupId = row.optionalInteger(8);
  node.inheritGrants = row.optionalFlag(9);
  node.byteSize = row.optionalInteger(10);
  node.contentHash = row.optionalText(11);
  node.cloudOnly = row.optionalFlag(12);
  node.fileExtension = row.optionalText(13);
  node.role = row.optionalText(14);
  node.isPersonal = row.optionalFlag(15);
  node.trashedAt = row.optionalText(16);
  node.createdAt = row.optionalText(17);
  node.updatedAt = row.optionalText(18);
  return node;
}

std::vector<StorageNode> readNodes(Statement& statement) {
  std::vector<StorageNode> nodes;
  while (statement.step())
    nodes.push_back(readNode(statement));
  return nodes;
}

// Case-insensitive sibling names compare under full Unicode case folding.
std::string nameKey(std::string_view name) {
  std::string key;
  icu::UnicodeString::fromUTF8(icu::StringPiece(name.data(), static_cast<int32_t>(name.size())))
      .foldCase()
      .toUTF8String(key);
  return key;
}

}  // namespace

TreeStore::TreeStore(Database& database) : database_(database) {
  database_.execute(kSchema);
}

bool TreeStore::empty() {
  auto statement = database_.prepare("SELECT count(*) FROM namespaces");
  statement.step();
  return statement.integer(0) == 0;
}

void TreeStore::putNamespace(const StorageNamespace& space) {
  database_
      .prepare(
          "INSERT INTO namespaces(id, kind, title, user_id, organization_id, workspace_id, "
          "root_node_id) VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7) ON CONFLICT(id) DO UPDATE SET "
          "kind=?2, title=?3, user_id=?4, organization_id=?5, workspace_id=?6, root_node_id=?7")
      .bind(1, space.id)
      .bind(2, space.kind)
      .bind(3, space.title)
      .bind(4, space.userId)
      .bind(5, space.organizationId)
      .bind(6, space.workspaceId)
      .bind(7, space.rootNodeId)
      .run();
}

std::vector<StorageNamespace> TreeStore::namespaces() {
  auto statement = database_.prepare(
      "SELECT id, kind, title, user_id, organization_id, workspace_id, root_node_id "
      "FROM namespaces ORDER BY position");
  std::vector<StorageNamespace> spaces;
  while (statement.step()) {
    spaces.push_back({statement.text(0), statement.text(1), statement.text(2),
                      statement.optionalText(3), statement.optionalText(4),
                      statement.optionalText(5), statement.text(6)});
  }
  return spaces;
}

std::vector<StorageNode> TreeStore::roots() {
  std::vector<StorageNode> roots;
  for (const auto& space : namespaces()) {
    if (auto root = node(space.rootNodeId)) roots.push_back(std::move(*root));
  }
  return roots;
}

std::optional<StorageNode> TreeStore::node(std::string_view id) {
  auto statement = database_.prepare(selectNodes("WHERE id = ?1"));
  statement.bind(1, id);
  if (!statement.step()) return std::nullopt;
  return readNode(statement);
}

std::vector<StorageNode> TreeStore::children(std::string_view parentId) {
  auto statement = database_.prepare(selectNodes("WHERE parent_id = ?1 ORDER BY seq"));
  statement.bind(1, parentId);
  return readNodes(statement);
}

void TreeStore::putNode(const StorageNode& node) {
  auto statement = database_.prepare(
      "INSERT INTO nodes(" + std::string(kNodeColumns) +
      ", name_key) VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13, ?14, ?15, ?16, "
      "?17, ?18, ?19, ?20) ON CONFLICT(id) DO UPDATE SET namespace_id=?2, parent_id=?3, "
      "name=?4, kind=?5, app_kind=?6, mime=?7, asset_id=?8, group_id=?9, inherit_grants=?10, "
      "byte_size=?11, content_hash=?12, cloud_only=?13, extension=?14, role=?15, "
      "is_personal=?16, trashed_at=?17, created_at=?18, updated_at=?19, name_key=?20");
  statement.bind(1, node.id).bind(2, node.namespaceId).bind(3, node.parentId).bind(4, node.name);
  statement.bind(5, node.kind).bind(6, node.appKind).bind(7, node.mime).bind(8, node.assetId);
  statement.bind(9, node.groupId).bind(10, node.inheritGrants).bind(11, node.byteSize);
  statement.bind(12, node.contentHash).bind(13, node.cloudOnly).bind(14, node.fileExtension);
  statement.bind(15, node.role).bind(16, node.isPersonal).bind(17, node.trashedAt);
  statement.bind(18, node.createdAt).bind(19, node.updatedAt).bind(20, nameKey(node.name));
  statement.run();
}

bool TreeStore::nameTaken(std::string_view parentId, std::string_view name,
                          std::string_view exceptId) {
  auto statement = database_.prepare(
      "SELECT 1 FROM nodes WHERE parent_id = ?1 AND name_key = ?2 AND id <> ?3 "
      "AND trashed_at IS NULL LIMIT 1");
  statement.bind(1, parentId).bind(2, nameKey(name)).bind(3, exceptId);
  return statement.step();
}

void TreeStore::moveSubtreeToNamespace(std::string_view id, std::string_view namespaceId) {
  database_
      .prepare(
          "WITH RECURSIVE subtree(id) AS (SELECT ?1 UNION SELECT nodes.id FROM nodes "
          "JOIN subtree ON nodes.parent_id = subtree.id) "
          "UPDATE nodes SET namespace_id = ?2 WHERE id IN subtree")
      .bind(1, id)
      .bind(2, namespaceId)
      .run();
}

std::optional<std::string> TreeStore::blobOf(std::string_view nodeId) {
  auto statement = database_.prepare("SELECT blob FROM contents WHERE node_id = ?1");
  statement.bind(1, nodeId);
  if (!statement.step()) return std::nullopt;
  return statement.text(0);
}

void TreeStore::setBlob(std::string_view nodeId, std::string_view blob) {
  database_
      .prepare(
          "INSERT INTO contents(node_id, blob) VALUES(?1, ?2) "
          "ON CONFLICT(node_id) DO UPDATE SET blob = ?2")
      .bind(1, nodeId)
      .bind(2, blob)
      .run();
}

}  // namespace drive::reference
