#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/item.h"
#include "replica/item_key.h"
#include "replica/sync_state.h"

namespace drive::replica {

// One item as the replica keeps it: what the provider last reported, plus the local state.
struct ItemInfo {
  ItemKey key = kNoKey;
  ItemKey parent = kNoKey;  // kNoKey for the root
  // The provider's identifier, or a local one ("local:<key>") until the create is answered.
  std::string identifier;
  std::string filename;
  std::string contentType;
  bool isFolder = false;
  std::int64_t size = 0;
  std::optional<fp::Date> modified;
  std::optional<fp::Date> created;
  fp::ItemCapabilities capabilities = fp::ItemCapability::reading;
  fp::Bytes contentVersion;
  fp::Bytes metadataVersion;
  // The provider's sync mode word ("myDrive", "folder", "online", "offline", "pralo",
  // "listing") and the rest of its user info and decorations.
  std::string syncMode;
  fp::ItemUserInfo userInfo;
  std::vector<std::string> decorations;
  // An up-to-date copy of the contents is in the content store.
  bool downloaded = false;
  bool keptOffline = false;
  // The store's copy holds changes the service does not have yet.
  bool locallyModified = false;
  LocalState localState = LocalState::inStep;
  std::string reason;  // why refused or local only
  // Made read-only on this machine (chmod a-w), as a FAT file system keeps a read-only bit.
  bool readOnlyHere = false;
  // When its name, place, dates or contents last changed on this machine (a status change).
  std::optional<fp::Date> changed;

  bool isLocal() const { return identifier.starts_with("local:"); }
  bool may(fp::ItemCapabilities capability) const {
    const auto granted = readOnlyHere ? capabilities & ~fp::ItemCapability::writing : capabilities;
    return (granted & capability) != 0;
  }
  SyncState syncState() const;
};

// Takes a folder's listing a batch at a time (see Replica::listing); may keep the entries.
using ListingSink = std::function<void(std::vector<ItemInfo>& batch)>;

}  // namespace drive::replica
