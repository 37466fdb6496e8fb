#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "platform/item.h"
#include "replica/item_info.h"
#include "replica/replica_status.h"
#include "replica/sql_connection.h"

namespace drive::replica {

// Above every key SQLite hands out.
inline constexpr ItemKey kEveryKey = std::numeric_limits<std::int64_t>::max();

// What an item reported by the provider changed in the database.
struct ReportOutcome {
  ItemKey key = kNoKey;
  ItemKey oldParent = kNoKey;
  bool added = false;
  bool changed = false;
  // A new content version: the stored copy, when clean, is stale now.
  bool contentsChanged = false;
  // The copy was dropped because it went stale.
  bool copyDropped = false;
};

// The fields of a reported item that decide whether it changed.
struct ReportedFields {
  std::int64_t size = 0;
  std::optional<double> modified;
  fp::ItemCapabilities capabilities = 0;
  std::string mode;
};

// The kinds of queued change.
enum class ChangeKind { create, modify, remove };

struct PendingChange {
  std::int64_t sequence = 0;
  ItemKey key = kNoKey;
  ChangeKind kind = ChangeKind::modify;
  fp::ItemFields fields = 0;
  int attempts = 0;
  std::int64_t nextTryMs = 0;
};

// The replica's database: items, listed folders and anchors, the queue of local changes.
// Not thread-safe; its owner serialises access and groups calls in transactions.
class ItemStore {
 public:
  ItemStore(const std::filesystem::path& file, bool readOnly);
  SqlConnection& connection() { return connection_; }

  // --- Items
  std::optional<ItemInfo> item(ItemKey key);
  std::optional<ItemInfo> child(ItemKey parent, const std::string& name);
  std::vector<ItemInfo> children(ItemKey parent);
  // The children with only what a directory listing shows: key, parent, name, kind, size,
  // dates and capabilities. A fraction of the memory of `children` for a large folder.
  // Only keys below `keysBelow`: the rest of a listing being recorded is known already.
  std::vector<ItemInfo> listing(ItemKey parent, ItemKey keysBelow = kEveryKey);
  std::optional<ItemKey> keyOf(const std::string& identifier);
  // Records an item as the provider reported it under `parent`. Local names and places of
  // items with changes waiting are kept. A new item's `listing` entry goes to `entry`.
  ReportOutcome report(const fp::Item& item, ItemKey parent, ItemInfo* entry = nullptr);
  // A new local item with the local identifier "local:<key>".
  ItemKey insertLocal(ItemKey parent, const std::string& name, bool isFolder);
  // The item and everything below it; returns their keys.
  std::vector<ItemKey> erase(ItemKey key);
  // Keys of the children of `parent` not in `keep`, for a listing that no longer has them.
  // Only keys below `keysBelow` are looked at: those above were just listed.
  std::vector<ItemKey> childrenMissingFrom(ItemKey parent, const std::vector<ItemKey>& keep,
                                           ItemKey keysBelow = kEveryKey);
  void setIdentifier(ItemKey key, const std::string& identifier);
  void setPlace(ItemKey key, ItemKey parent, const std::string& name);
  void setSize(ItemKey key, std::int64_t size);
  // A modification date a program set here; shown instead of the service's until the
  // contents change on the service. Seconds since the epoch; none to go back to the service's.
  void setLocalModified(ItemKey key, std::optional<double> seconds);
  void setReadOnlyHere(ItemKey key, bool readOnly);
  // Changed here at `now` (seconds since the epoch): its status, and with `contents` also its
  // contents (for a folder: its entries).
  void stamp(ItemKey key, double now, bool contents);
  std::optional<double> localModified(ItemKey key);
  void setLocalState(ItemKey key, LocalState state, const std::string& reason = {});
  void setRemoved(ItemKey key, bool removed);
  bool isRemoved(ItemKey key);
  // The copy in the store: present or not, its size, and whether it holds local changes.
  void setCopy(ItemKey key, bool downloaded, std::int64_t storedBytes);
  void setLocallyModified(ItemKey key, bool modified, const fp::Bytes& baseVersion);
  fp::Bytes baseVersion(ItemKey key);
  void setKeptOffline(ItemKey key, bool kept);
  void touch(ItemKey key);
  // Clean, not kept offline copies, least recently used first.
  std::vector<std::pair<ItemKey, std::int64_t>> evictable();
  std::uint64_t storedBytes();
  std::vector<ItemKey> downloadedBelow(ItemKey folder);

  // --- Listing state
  bool isListed(ItemKey folder);
  void setListed(ItemKey folder, const fp::Bytes& anchor);
  void setUnlisted(ItemKey folder);
  std::vector<ItemKey> listedFolders();
  fp::Bytes anchor(ItemKey folder);
  fp::Bytes value(const std::string& name);
  void setValue(const std::string& name, const fp::Bytes& value);

  // --- Queue
  // Queues a change, merged into a change of the item that is not being sent yet: a create
  // absorbs later modifies, modifies merge, a delete after a create cancels both. Returns
  // false when nothing is left queued for the item (create then delete).
  bool enqueue(ItemKey key, ChangeKind kind, fp::ItemFields fields);
  std::vector<PendingChange> pending();
  bool hasPending(ItemKey key);
  void beginSending(std::int64_t sequence);
  void finishChange(std::int64_t sequence);
  void retryLater(std::int64_t sequence, std::int64_t nextTryMs, const std::string& error);
  // The service answers again: waiting changes are due now.
  void retryNow();
  // Changes that were being sent when the process ended go back to waiting.
  void resumeInterrupted();
  std::int64_t queueLength();

  // --- Status
  ReplicaStatus status(std::uint64_t storeLimit);
  // The limit the last host kept the content store under, for whoever asks while it runs.
  std::optional<std::uint64_t> storeLimit();
  void setStoreLimit(std::uint64_t limit);
  std::string pathOf(ItemKey key);

 private:
  void createSchema();
  // The first key never handed out, in this process or before it.
  ItemKey firstUnusedKey();
  ReportOutcome reportKnown(const fp::Item& item, const std::string& identifier, ItemKey parent,
                            const fp::ItemVersion& version, const ReportedFields& fields,
                            const fp::ItemUserInfo& userInfo);

  SqlConnection connection_;
  // Keys are never used twice, so that an inode number the kernel still holds cannot name
  // another item. Counted here rather than by SQLite's AUTOINCREMENT, which writes its
  // counter at every insert.
  ItemKey nextKey_ = kRootKey + 1;
  // Saved in the settings: keys below it may have been used by items erased since.
  ItemKey savedFloor_ = 0;
};

const std::string& changeKindWord(ChangeKind kind);

}  // namespace drive::replica
