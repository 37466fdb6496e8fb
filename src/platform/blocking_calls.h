#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "platform/replicated_extension.h"

namespace fp {

// The platform's side of a request made by a host that waits for it: the call, then its
// completion. Used by the command-line host and the tests.
namespace BlockingCalls {

struct ProgressSnapshot {
  std::int64_t completed = 0;
  std::int64_t total = 0;
};

struct ItemReply {
  ItemPtr item;
  Error error;
  ProgressSnapshot progress;
};

struct FetchReply {
  std::optional<URL> url;
  ItemPtr item;
  Error error;
  ProgressSnapshot progress;
};

struct ErrorReply {
  Error error;
  ProgressSnapshot progress;
};

// What an enumeration reported, up to its finish.
struct EnumerationReply {
  std::vector<ItemPtr> items;
  std::vector<ItemIdentifier> deleted;
  SyncAnchor anchor;
  bool moreComing = false;
  Error error;
};

ItemReply itemForIdentifier(ReplicatedExtension& extension, const ItemIdentifier& identifier);
FetchReply fetchContents(ReplicatedExtension& extension, const ItemIdentifier& identifier,
                         const std::optional<ItemVersion>& version = std::nullopt);
ItemReply createItem(ReplicatedExtension& extension, ItemPtr itemTemplate,
                     const std::optional<URL>& contents, CreateItemOptions options = 0);
ItemReply modifyItem(ReplicatedExtension& extension, ItemPtr item, ItemFields changedFields,
                     const std::optional<URL>& contents = std::nullopt);
ErrorReply deleteItem(ReplicatedExtension& extension, const ItemIdentifier& identifier);
// Returns at the completion; a follow-up may still be running inside its transaction.
ErrorReply performAction(CustomAction& actions, const std::string& action,
                         const std::vector<ItemIdentifier>& identifiers);

EnumerationReply enumerateItems(Enumerator& enumerator);
EnumerationReply enumerateChanges(Enumerator& enumerator, const SyncAnchor& anchor);
std::optional<SyncAnchor> currentSyncAnchor(Enumerator& enumerator);

}  // namespace BlockingCalls
}  // namespace fp
