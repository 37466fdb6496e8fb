#include "replica/item_store.h"

#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>
#include <unordered_set>

#include "platform/item_identifier.h"

namespace drive::replica {
namespace {

constexpr const char* kSchema = R"(
CREATE TABLE IF NOT EXISTS items(
  key INTEGER PRIMARY KEY,
  identifier TEXT NOT NULL UNIQUE,
  parent INTEGER NOT NULL,
  filename TEXT NOT NULL,
  content_type TEXT NOT NULL DEFAULT '',
  is_folder INTEGER NOT NULL DEFAULT 0,
  size INTEGER NOT NULL DEFAULT 0,
  modified REAL,
  local_modified REAL,
  local_readonly INTEGER NOT NULL DEFAULT 0,
  local_changed REAL,
  created REAL,
  capabilities INTEGER NOT NULL DEFAULT 1,
  content_version BLOB,
  metadata_version BLOB,
  sync_mode TEXT NOT NULL DEFAULT '',
  user_info TEXT NOT NULL DEFAULT '{}',
  decorations TEXT NOT NULL DEFAULT '[]',
  downloaded INTEGER NOT NULL DEFAULT 0,
  stored_bytes INTEGER NOT NULL DEFAULT 0,
  last_used INTEGER NOT NULL DEFAULT 0,
  kept_offline INTEGER NOT NULL DEFAULT 0,
  modified_locally INTEGER NOT NULL DEFAULT 0,
  base_version BLOB,
  local_state TEXT NOT NULL DEFAULT 'in step',
  reason TEXT NOT NULL DEFAULT '',
  removed INTEGER NOT NULL DEFAULT 0);
CREATE INDEX IF NOT EXISTS items_by_parent ON items(parent, filename);
CREATE TABLE IF NOT EXISTS folders(key INTEGER PRIMARY KEY, anchor BLOB);
CREATE TABLE IF NOT EXISTS settings(name TEXT PRIMARY KEY, value BLOB);
CREATE TABLE IF NOT EXISTS queue(
  sequence INTEGER PRIMARY KEY AUTOINCREMENT,
  key INTEGER NOT NULL,
  kind TEXT NOT NULL,
  fields INTEGER NOT NULL DEFAULT 0,
  attempts INTEGER NOT NULL DEFAULT 0,
  next_try INTEGER NOT NULL DEFAULT 0,
  last_error TEXT NOT NULL DEFAULT '',
  sending INTEGER NOT NULL DEFAULT 0);
CREATE INDEX IF NOT EXISTS queue_by_key ON queue(key);
)";

constexpr const char* kItemColumns =
    "key, parent, identifier, filename, content_type, is_folder, size, "
    "COALESCE(local_modified, modified), created, "
    "capabilities, content_version, metadata_version, sync_mode, user_info, decorations, "
    "downloaded, kept_offline, modified_locally, local_state, reason, local_readonly, "
    "local_changed";

std::optional<fp::Date> dateOf(std::optional<double> seconds) {
  if (!seconds) return std::nullopt;
  return fp::Date(std::chrono::duration<double>(*seconds));
}

std::optional<fp::Date> dateColumn(const SqlStatement& row, int column) {
  if (row.isNull(column)) return std::nullopt;
  return dateOf(row.real(column));
}

std::optional<double> secondsOf(const std::optional<fp::Date>& date) {
  if (!date) return std::nullopt;
  return date->time_since_epoch().count();
}

ItemInfo readItem(const SqlStatement& row) {
  ItemInfo info;
  info.key = static_cast<ItemKey>(row.integer(0));
  info.parent = static_cast<ItemKey>(row.integer(1));
  info.identifier = row.text(2);
  info.filename = row.text(3);
  info.contentType = row.text(4);
  info.isFolder = row.integer(5) != 0;
  info.size = row.integer(6);
  info.modified = dateColumn(row, 7);
  info.created = dateColumn(row, 8);
  info.capabilities = static_cast<fp::ItemCapabilities>(row.integer(9));
  info.contentVersion = row.bytes(10);
  info.metadataVersion = row.bytes(11);
  info.syncMode = row.text(12);
  info.userInfo =
      nlohmann::json::parse(row.text(13), nullptr, false).get<std::map<std::string, std::string>>();
  info.decorations =
      nlohmann::json::parse(row.text(14), nullptr, false).get<std::vector<std::string>>();
  info.downloaded = row.integer(15) != 0;
  info.keptOffline = row.integer(16) != 0;
  info.locallyModified = row.integer(17) != 0;
  info.localState = localStateFromWord(row.text(18));
  info.reason = row.text(19);
  info.readOnlyHere = row.integer(20) != 0;
  info.changed = dateColumn(row, 21);
  return info;
}

bool isFolderItem(const fp::Item& item, const fp::ItemUserInfo& userInfo) {
  const auto kind = userInfo.find("kind");
  if (kind != userInfo.end()) return kind->second == "folder";
  return item.contentType() == fp::UniformType::folder();
}

// Most items have no decorations: no JSON document to build for them.
std::string decorationsText(const std::vector<std::string>& decorations) {
  return decorations.empty() ? "[]" : nlohmann::json(decorations).dump();
}

SqlStatement& bindReported(SqlStatement& statement, const fp::Item& item,
                           const std::string& identifier, ItemKey parent,
                           const fp::ItemVersion& version, const ReportedFields& fields,
                           const fp::ItemUserInfo& userInfo) {
  return statement.bind(1, identifier)
      .bind(2, parent)
      .bind(3, item.filename())
      .bind(4, item.contentType().identifier())
      .bind(5, isFolderItem(item, userInfo))
      .bind(6, fields.size)
      .bind(7, fields.modified)
      .bind(8, secondsOf(item.creationDate()))
      .bind(9, fields.capabilities)
      .bind(10, version.contentVersion)
      .bind(11, version.metadataVersion)
      .bind(12, fields.mode)
      .bind(13, nlohmann::json(userInfo).dump())
      .bind(14, decorationsText(item.decorations()));
}

// What `listing` reads back of a row just inserted, without reading it.
ItemInfo listingEntry(const fp::Item& item, ItemKey key, ItemKey parent,
                      const ReportedFields& fields, const fp::ItemUserInfo& userInfo) {
  ItemInfo entry;
  entry.key = key;
  entry.parent = parent;
  entry.filename = item.filename();
  entry.isFolder = isFolderItem(item, userInfo);
  entry.size = fields.size;
  entry.modified = dateOf(fields.modified);
  entry.created = dateOf(secondsOf(item.creationDate()));
  entry.capabilities = fields.capabilities;
  return entry;
}

std::string sqlWithColumns(const std::string& tail) {
  return std::string("SELECT ") + kItemColumns + " FROM items " + tail;
}

std::int64_t nowTicks() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

}  // namespace

const std::string& changeKindWord(ChangeKind kind) {
  static const std::string words[] = {"create", "modify", "delete"};
  return words[static_cast<int>(kind)];
}

namespace {
ChangeKind changeKindFromWord(const std::string& word) {
  if (word == "create") return ChangeKind::create;
  if (word == "delete") return ChangeKind::remove;
  return ChangeKind::modify;
}
}  // namespace

const std::string kKeyFloor = "key-floor";

ItemStore::ItemStore(const std::filesystem::path& file, bool readOnly)
    : connection_(file, readOnly) {
  if (readOnly) return;
  createSchema();
  nextKey_ = firstUnusedKey();
  savedFloor_ = nextKey_;
}

ItemKey ItemStore::firstUnusedKey() {
  // Databases made before the count was kept here have SQLite's counter.
  auto row = connection_.prepare(
      "SELECT MAX((SELECT COALESCE(MAX(key), 0) FROM items), "
      "COALESCE((SELECT seq FROM sqlite_sequence WHERE name = 'items'), 0), "
      "COALESCE((SELECT CAST(CAST(value AS TEXT) AS INTEGER) FROM settings WHERE name = ?), 0))");
  row.bind(1, kKeyFloor);
  row.step();
  return static_cast<ItemKey>(row.integer(0)) + 1;
}

void ItemStore::createSchema() {
  connection_.execute(kSchema);
  // Databases from before programs could set modification dates and the read-only bit.
  for (const auto& [name, type] : {std::pair{"local_modified", "REAL"},
                                   std::pair{"local_readonly", "INTEGER NOT NULL DEFAULT 0"},
                                   std::pair{"local_changed", "REAL"}}) {
    auto has =
        connection_.prepare("SELECT COUNT(*) FROM pragma_table_info('items') WHERE name = ?");
    has.bind(1, std::string(name));
    has.step();
    if (has.integer(0) == 0) {
      connection_.execute(std::string("ALTER TABLE items ADD COLUMN ") + name + " " + type);
    }
  }
  connection_
      .prepare(
          "INSERT OR IGNORE INTO items(key, identifier, parent, filename, is_folder, "
          "capabilities) VALUES (?, ?, 0, '', 1, ?)")
      .bind(1, kRootKey)
      .bind(2, fp::NSFileProviderRootContainerItemIdentifier)
      .bind(3, fp::ItemCapability::reading)
      .run();
}

std::optional<ItemInfo> ItemStore::item(ItemKey key) {
  auto row = connection_.prepare(sqlWithColumns("WHERE key = ?"));
  row.bind(1, key);
  if (!row.step()) return std::nullopt;
  return readItem(row);
}

std::optional<ItemInfo> ItemStore::child(ItemKey parent, const std::string& name) {
  auto row =
      connection_.prepare(sqlWithColumns("WHERE parent = ? AND filename = ? AND removed = 0"));
  row.bind(1, parent).bind(2, name);
  if (!row.step()) return std::nullopt;
  return readItem(row);
}

std::vector<ItemInfo> ItemStore::children(ItemKey parent) {
  auto row = connection_.prepare(sqlWithColumns("WHERE parent = ? AND removed = 0 ORDER BY key"));
  row.bind(1, parent);
  std::vector<ItemInfo> items;
  while (row.step())
    items.push_back(readItem(row));
  return items;
}

std::vector<ItemInfo> ItemStore::listing(ItemKey parent, ItemKey keysBelow) {
  auto row = connection_.prepare(
      "SELECT key, filename, is_folder, size, COALESCE(local_modified, modified), created, "
      "capabilities, local_readonly, local_changed FROM items WHERE parent = ? AND removed = 0 "
      "AND key < ? ORDER BY key");
  row.bind(1, parent).bind(2, keysBelow);
  std::vector<ItemInfo> items;
  while (row.step()) {
    auto& info = items.emplace_back();
    info.key = static_cast<ItemKey>(row.integer(0));
    info.parent = parent;
    info.filename = row.text(1);
    info.isFolder = row.integer(2) != 0;
    info.size = row.integer(3);
    info.modified = dateColumn(row, 4);
    info.created = dateColumn(row, 5);
    info.capabilities = static_cast<fp::ItemCapabilities>(row.integer(6));
    info.readOnlyHere = row.integer(7) != 0;
    info.changed = dateColumn(row, 8);
  }
  return items;
}

std::optional<ItemKey> ItemStore::keyOf(const std::string& identifier) {
  auto row = connection_.prepare("SELECT key FROM items WHERE identifier = ?");
  row.bind(1, identifier);
  if (!row.step()) return std::nullopt;
  return static_cast<ItemKey>(row.integer(0));
}

ReportOutcome ItemStore::report(const fp::Item& item, ItemKey parent, ItemInfo* entry) {
  const auto identifier = item.itemIdentifier();
  const auto version = item.itemVersion();
  const auto userInfo = item.userInfo();
  const ReportedFields fields{item.documentSize().value_or(0),
                              secondsOf(item.contentModificationDate()), item.capabilities(),
                              userInfo.contains("sync") ? userInfo.at("sync") : std::string()};
  // Most items of a listing are new: one statement for them, a look at the old row for the rest.
  auto insert = connection_.prepare(
      "INSERT INTO items(identifier, parent, filename, content_type, is_folder, size, modified, "
      "created, capabilities, content_version, metadata_version, sync_mode, user_info, "
      "decorations, key) VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13, ?14, "
      "?15) ON CONFLICT(identifier) DO NOTHING");
  bindReported(insert, item, identifier, parent, version, fields, userInfo)
      .bind(15, nextKey_)
      .run();
  if (connection_.changes() == 1) {
    ReportOutcome outcome;
    outcome.key = nextKey_++;
    outcome.added = true;
    if (entry) *entry = listingEntry(item, outcome.key, parent, fields, userInfo);
    return outcome;
  }
  return reportKnown(item, identifier, parent, version, fields, userInfo);
}

ReportOutcome ItemStore::reportKnown(const fp::Item& item, const std::string& identifier,
                                     ItemKey parent, const fp::ItemVersion& version,
                                     const ReportedFields& fields,
                                     const fp::ItemUserInfo& userInfo) {
  ReportOutcome outcome;
  auto existing = connection_.prepare(
      "SELECT key, parent, filename, content_version, size, modified, capabilities, sync_mode, "
      "modified_locally, downloaded, (SELECT COUNT(*) FROM queue WHERE queue.key = items.key) "
      "FROM items WHERE identifier = ?");
  existing.bind(1, identifier);
  existing.step();
  outcome.key = static_cast<ItemKey>(existing.integer(0));
  outcome.oldParent = static_cast<ItemKey>(existing.integer(1));
  const bool localChanges = existing.integer(10) > 0;
  const bool dirtyCopy = existing.integer(8) != 0;
  outcome.contentsChanged = existing.bytes(3) != version.contentVersion;
  outcome.changed = outcome.contentsChanged || outcome.oldParent != parent ||
                    existing.text(2) != item.filename() ||
                    (!dirtyCopy && existing.integer(4) != fields.size) ||
                    existing.isNull(5) != !fields.modified ||
                    (fields.modified && existing.real(5) != *fields.modified) ||
                    static_cast<fp::ItemCapabilities>(existing.integer(6)) != fields.capabilities ||
                    existing.text(7) != fields.mode;
  outcome.copyDropped = outcome.contentsChanged && !dirtyCopy && existing.integer(9) != 0;
  if (localChanges) {
    // The local name and place win until the change reaches the service.
    parent = outcome.oldParent;
    outcome.changed = outcome.contentsChanged;
  }
  auto update = connection_.prepare(
      "UPDATE items SET parent = ?2, filename = CASE WHEN ?17 THEN filename ELSE ?3 END, "
      "content_type = ?4, is_folder = ?5, size = CASE WHEN ?19 THEN size ELSE ?6 END, "
      "modified = ?7, created = ?8, "
      "capabilities = ?9, content_version = ?10, metadata_version = ?11, sync_mode = ?12, "
      "user_info = ?13, decorations = ?14, "
      "downloaded = CASE WHEN ?15 THEN 0 ELSE downloaded END, "
      "stored_bytes = CASE WHEN ?15 THEN 0 ELSE stored_bytes END, "
      "local_modified = CASE WHEN ?18 THEN NULL ELSE local_modified END, "
      "local_changed = CASE WHEN ?18 THEN NULL ELSE local_changed END "
      "WHERE identifier = ?1");
  bindReported(update, item, identifier, parent, version, fields, userInfo)
      .bind(15, outcome.copyDropped)
      .bind(17, localChanges)
      // New contents from elsewhere come with their own date, not one a program set here.
      .bind(18, outcome.contentsChanged && !dirtyCopy)
      // A copy written here is the item's size until it reaches the service.
      .bind(19, dirtyCopy)
      .run();
  return outcome;
}

ItemKey ItemStore::insertLocal(ItemKey parent, const std::string& name, bool isFolder) {
  const auto key = nextKey_;
  connection_
      .prepare(
          "INSERT INTO items(identifier, parent, filename, content_type, is_folder, "
          "capabilities, modified, created, sync_mode, key) "
          "VALUES (?, ?, ?, ?, ?, ?, ?, ?, '', ?)")
      .bind(1, "local:" + std::to_string(key))
      .bind(2, parent)
      .bind(3, name)
      .bind(4, isFolder ? fp::UniformType::folder().identifier()
                        : fp::UniformType::data().identifier())
      .bind(5, isFolder)
      .bind(6, fp::ItemCapabilities{127})
      .bind(7, std::optional<double>(static_cast<double>(nowTicks()) / 1000.0))
      .bind(8, std::optional<double>(static_cast<double>(nowTicks()) / 1000.0))
      .bind(9, key)
      .run();
  ++nextKey_;
  return key;
}

std::vector<ItemKey> ItemStore::erase(ItemKey key) {
  std::vector<ItemKey> keys{key};
  for (std::size_t next = 0; next < keys.size(); ++next) {
    auto row = connection_.prepare("SELECT key FROM items WHERE parent = ?");
    row.bind(1, keys[next]);
    while (row.step())
      keys.push_back(static_cast<ItemKey>(row.integer(0)));
  }
  // Counted from the items that remain at the next start, these keys would come back.
  if (nextKey_ > savedFloor_) {
    const auto floor = std::to_string(nextKey_);
    setValue(kKeyFloor, fp::Bytes(floor.begin(), floor.end()));
    savedFloor_ = nextKey_;
  }
  for (const auto erased : keys) {
    connection_.prepare("DELETE FROM items WHERE key = ?").bind(1, erased).run();
    connection_.prepare("DELETE FROM folders WHERE key = ?").bind(1, erased).run();
    connection_.prepare("DELETE FROM queue WHERE key = ?").bind(1, erased).run();
  }
  return keys;
}

std::vector<ItemKey> ItemStore::childrenMissingFrom(ItemKey parent,
                                                    const std::vector<ItemKey>& keep,
                                                    ItemKey keysBelow) {
  const std::unordered_set<ItemKey> kept(keep.begin(), keep.end());
  std::vector<ItemKey> missing;
  auto row = connection_.prepare("SELECT key, identifier FROM items WHERE parent = ? AND key < ?");
  row.bind(1, parent).bind(2, keysBelow);
  while (row.step()) {
    const auto key = static_cast<ItemKey>(row.integer(0));
    // Items not yet on the service are not in any listing.
    if (!kept.contains(key) && !row.text(1).starts_with("local:")) missing.push_back(key);
  }
  return missing;
}

void ItemStore::setIdentifier(ItemKey key, const std::string& identifier) {
  connection_.prepare("UPDATE items SET identifier = ? WHERE key = ?")
      .bind(1, identifier)
      .bind(2, key)
      .run();
}

void ItemStore::setPlace(ItemKey key, ItemKey parent, const std::string& name) {
  connection_.prepare("UPDATE items SET parent = ?, filename = ? WHERE key = ?")
      .bind(1, parent)
      .bind(2, name)
      .bind(3, key)
      .run();
}

void ItemStore::stamp(ItemKey key, double now, bool contents) {
  connection_
      .prepare(
          "UPDATE items SET local_changed = ?1, "
          "local_modified = CASE WHEN ?3 THEN ?1 ELSE local_modified END WHERE key = ?2")
      .bind(1, std::optional<double>(now))
      .bind(2, key)
      .bind(3, contents)
      .run();
}

void ItemStore::setReadOnlyHere(ItemKey key, bool readOnly) {
  connection_.prepare("UPDATE items SET local_readonly = ? WHERE key = ?")
      .bind(1, readOnly)
      .bind(2, key)
      .run();
}

void ItemStore::setLocalModified(ItemKey key, std::optional<double> seconds) {
  connection_.prepare("UPDATE items SET local_modified = ? WHERE key = ?")
      .bind(1, seconds)
      .bind(2, key)
      .run();
}

std::optional<double> ItemStore::localModified(ItemKey key) {
  auto row = connection_.prepare("SELECT local_modified FROM items WHERE key = ?");
  row.bind(1, key);
  if (!row.step() || row.isNull(0)) return std::nullopt;
  return row.real(0);
}

void ItemStore::setSize(ItemKey key, std::int64_t size) {
  connection_.prepare("UPDATE items SET size = ? WHERE key = ?").bind(1, size).bind(2, key).run();
}

void ItemStore::setLocalState(ItemKey key, LocalState state, const std::string& reason) {
  connection_.prepare("UPDATE items SET local_state = ?, reason = ? WHERE key = ?")
      .bind(1, localStateWord(state))
      .bind(2, reason)
      .bind(3, key)
      .run();
}

void ItemStore::setRemoved(ItemKey key, bool removed) {
  connection_.prepare("UPDATE items SET removed = ? WHERE key = ?")
      .bind(1, removed)
      .bind(2, key)
      .run();
}

bool ItemStore::isRemoved(ItemKey key) {
  auto row = connection_.prepare("SELECT removed FROM items WHERE key = ?");
  row.bind(1, key);
  return row.step() && row.integer(0) != 0;
}

void ItemStore::setCopy(ItemKey key, bool downloaded, std::int64_t storedBytes) {
  connection_
      .prepare("UPDATE items SET downloaded = ?, stored_bytes = ?, last_used = ? WHERE key = ?")
      .bind(1, downloaded)
      .bind(2, storedBytes)
      .bind(3, nowTicks())
      .bind(4, key)
      .run();
}

void ItemStore::setLocallyModified(ItemKey key, bool modified, const fp::Bytes& baseVersion) {
  connection_.prepare("UPDATE items SET modified_locally = ?, base_version = ? WHERE key = ?")
      .bind(1, modified)
      .bind(2, baseVersion)
      .bind(3, key)
      .run();
}

fp::Bytes ItemStore::baseVersion(ItemKey key) {
  auto row = connection_.prepare("SELECT base_version FROM items WHERE key = ?");
  row.bind(1, key);
  return row.step() ? row.bytes(0) : fp::Bytes{};
}

void ItemStore::setKeptOffline(ItemKey key, bool kept) {
  connection_.prepare("UPDATE items SET kept_offline = ? WHERE key = ?")
      .bind(1, kept)
      .bind(2, key)
      .run();
}

void ItemStore::touch(ItemKey key) {
  connection_.prepare("UPDATE items SET last_used = ? WHERE key = ?")
      .bind(1, nowTicks())
      .bind(2, key)
      .run();
}

std::vector<std::pair<ItemKey, std::int64_t>> ItemStore::evictable() {
  auto row = connection_.prepare(
      "SELECT key, stored_bytes FROM items WHERE stored_bytes > 0 AND kept_offline = 0 AND "
      "modified_locally = 0 AND identifier NOT LIKE 'local:%' ORDER BY last_used");
  std::vector<std::pair<ItemKey, std::int64_t>> copies;
  while (row.step())
    copies.emplace_back(static_cast<ItemKey>(row.integer(0)), row.integer(1));
  return copies;
}

std::uint64_t ItemStore::storedBytes() {
  auto row = connection_.prepare("SELECT COALESCE(SUM(stored_bytes), 0) FROM items");
  row.step();
  return static_cast<std::uint64_t>(row.integer(0));
}

std::vector<ItemKey> ItemStore::downloadedBelow(ItemKey folder) {
  std::vector<ItemKey> found;
  std::vector<ItemKey> folders{folder};
  while (!folders.empty()) {
    const auto next = folders.back();
    folders.pop_back();
    auto row =
        connection_.prepare("SELECT key, is_folder, stored_bytes FROM items WHERE parent = ?");
    row.bind(1, next);
    while (row.step()) {
      if (row.integer(1) != 0) folders.push_back(static_cast<ItemKey>(row.integer(0)));
      if (row.integer(2) > 0) found.push_back(static_cast<ItemKey>(row.integer(0)));
    }
  }
  return found;
}

bool ItemStore::isListed(ItemKey folder) {
  auto row = connection_.prepare("SELECT 1 FROM folders WHERE key = ?");
  row.bind(1, folder);
  return row.step();
}

void ItemStore::setListed(ItemKey folder, const fp::Bytes& anchor) {
  connection_.prepare("INSERT OR REPLACE INTO folders(key, anchor) VALUES (?, ?)")
      .bind(1, folder)
      .bind(2, anchor)
      .run();
}

void ItemStore::setUnlisted(ItemKey folder) {
  connection_.prepare("DELETE FROM folders WHERE key = ?").bind(1, folder).run();
}

std::vector<ItemKey> ItemStore::listedFolders() {
  auto row = connection_.prepare("SELECT key FROM folders ORDER BY key");
  std::vector<ItemKey> folders;
  while (row.step())
    folders.push_back(static_cast<ItemKey>(row.integer(0)));
  return folders;
}

fp::Bytes ItemStore::anchor(ItemKey folder) {
  auto row = connection_.prepare("SELECT anchor FROM folders WHERE key = ?");
  row.bind(1, folder);
  return row.step() ? row.bytes(0) : fp::Bytes{};
}

fp::Bytes ItemStore::value(const std::string& name) {
  auto row = connection_.prepare("SELECT value FROM settings WHERE name = ?");
  row.bind(1, name);
  return row.step() ? row.bytes(0) : fp::Bytes{};
}

std::optional<std::uint64_t> ItemStore::storeLimit() {
  const auto text = value("store_limit");
  std::uint64_t limit = 0;
  const auto* end = reinterpret_cast<const char*>(text.data() + text.size());
  const auto read = std::from_chars(reinterpret_cast<const char*>(text.data()), end, limit);
  if (text.empty() || read.ec != std::errc() || read.ptr != end) return std::nullopt;
  return limit;
}

void ItemStore::setStoreLimit(std::uint64_t limit) {
  const auto text = std::to_string(limit);
  setValue("store_limit", fp::Bytes(text.begin(), text.end()));
}

void ItemStore::setValue(const std::string& name, const fp::Bytes& value) {
  connection_.prepare("INSERT OR REPLACE INTO settings(name, value) VALUES (?, ?)")
      .bind(1, name)
      .bind(2, value)
      .run();
}

bool ItemStore::enqueue(ItemKey key, ChangeKind kind, fp::ItemFields fields) {
  if (kind == ChangeKind::create) {
    // A create on its way already: what follows changes the item it makes.
    auto sending =
        connection_.prepare("SELECT 1 FROM queue WHERE key = ? AND sending = 1 AND kind = ?");
    sending.bind(1, key).bind(2, changeKindWord(ChangeKind::create));
    if (sending.step()) kind = ChangeKind::modify;
  }
  auto open = connection_.prepare(
      "SELECT sequence, kind, fields FROM queue WHERE key = ? AND sending = 0 "
      "ORDER BY sequence DESC LIMIT 1");
  open.bind(1, key);
  if (open.step()) {
    const auto sequence = open.integer(0);
    const auto earlier = changeKindFromWord(open.text(1));
    const auto merged = static_cast<fp::ItemFields>(open.integer(2)) | fields;
    connection_.prepare("DELETE FROM queue WHERE sequence = ?").bind(1, sequence).run();
    if (earlier == ChangeKind::create && kind == ChangeKind::remove) return false;
    if (earlier == ChangeKind::create || earlier == ChangeKind::remove) kind = earlier;
    fields = merged;
  }
  // A merged change goes to the end: it may now depend on changes queued after it.
  connection_.prepare("INSERT INTO queue(key, kind, fields) VALUES (?, ?, ?)")
      .bind(1, key)
      .bind(2, changeKindWord(kind))
      .bind(3, fields)
      .run();
  return true;
}

std::vector<PendingChange> ItemStore::pending() {
  auto row = connection_.prepare(
      "SELECT sequence, key, kind, fields, attempts, next_try FROM queue ORDER BY sequence");
  std::vector<PendingChange> changes;
  while (row.step()) {
    changes.push_back({row.integer(0), static_cast<ItemKey>(row.integer(1)),
                       changeKindFromWord(row.text(2)), static_cast<fp::ItemFields>(row.integer(3)),
                       static_cast<int>(row.integer(4)), row.integer(5)});
  }
  return changes;
}

bool ItemStore::hasPending(ItemKey key) {
  auto row = connection_.prepare("SELECT 1 FROM queue WHERE key = ?");
  row.bind(1, key);
  return row.step();
}

void ItemStore::beginSending(std::int64_t sequence) {
  connection_.prepare("UPDATE queue SET sending = 1, attempts = attempts + 1 WHERE sequence = ?")
      .bind(1, sequence)
      .run();
}

void ItemStore::finishChange(std::int64_t sequence) {
  connection_.prepare("DELETE FROM queue WHERE sequence = ?").bind(1, sequence).run();
}

void ItemStore::retryLater(std::int64_t sequence, std::int64_t nextTryMs,
                           const std::string& error) {
  connection_
      .prepare("UPDATE queue SET sending = 0, next_try = ?, last_error = ? WHERE sequence = ?")
      .bind(1, nextTryMs)
      .bind(2, error)
      .bind(3, sequence)
      .run();
}

void ItemStore::retryNow() {
  connection_.execute("UPDATE queue SET next_try = 0 WHERE next_try > 0 AND sending = 0");
}

void ItemStore::resumeInterrupted() {
  connection_.execute("UPDATE queue SET sending = 0");
}

std::int64_t ItemStore::queueLength() {
  auto row = connection_.prepare("SELECT COUNT(*) FROM queue");
  row.step();
  return row.integer(0);
}

std::string ItemStore::pathOf(ItemKey key) {
  std::vector<std::string> names;
  for (int depth = 0; key != kRootKey && key != kNoKey && depth < 4096; ++depth) {
    auto row = connection_.prepare("SELECT parent, filename FROM items WHERE key = ?");
    row.bind(1, key);
    if (!row.step()) break;
    names.push_back(row.text(1));
    key = static_cast<ItemKey>(row.integer(0));
  }
  std::string path;
  for (auto name = names.rbegin(); name != names.rend(); ++name)
    path += (path.empty() ? "" : "/") + *name;
  return path;
}

ReplicaStatus ItemStore::status(std::uint64_t storeLimit) {
  ReplicaStatus status;
  auto counts = connection_.prepare(
      "SELECT (SELECT COUNT(*) FROM items) - 1, (SELECT COUNT(*) FROM folders), "
      "(SELECT COUNT(*) FROM items WHERE kept_offline = 1)");
  counts.step();
  status.itemsKnown = counts.integer(0);
  status.foldersListed = counts.integer(1);
  status.keptOffline = counts.integer(2);
  status.store = {storeLimit, storedBytes()};
  auto queue = connection_.prepare(
      "SELECT sequence, key, kind, attempts, next_try, last_error FROM queue ORDER BY sequence");
  while (queue.step()) {
    QueuedChange change{queue.integer(0),
                        static_cast<ItemKey>(queue.integer(1)),
                        queue.text(2),
                        {},
                        static_cast<int>(queue.integer(3)),
                        std::nullopt,
                        queue.text(5)};
    if (queue.integer(4) > 0) {
      change.nextTry =
          std::chrono::system_clock::time_point(std::chrono::milliseconds(queue.integer(4)));
    }
    status.queue.push_back(std::move(change));
  }
  for (auto& change : status.queue)
    change.path = pathOf(change.key);
  auto held = connection_.prepare(
      "SELECT key, local_state, reason FROM items WHERE local_state IN ('refused', 'local only') "
      "ORDER BY key");
  while (held.step()) {
    status.held.push_back({static_cast<ItemKey>(held.integer(0)), {}, held.text(1), held.text(2)});
  }
  for (auto& item : status.held)
    item.path = pathOf(item.key);
  return status;
}

}  // namespace drive::replica
