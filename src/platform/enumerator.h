#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "platform/item.h"
#include "platform/platform_error.h"

namespace fp {

using SyncAnchor = Bytes;
using Page = Bytes;

// Receives one page of an item enumeration (NSFileProviderEnumerationObserver).
class EnumerationObserver {
 public:
  virtual ~EnumerationObserver() = default;
  virtual void didEnumerateItems(const std::vector<ItemPtr>& items) = 0;
  virtual void finishEnumeratingUpToPage(const std::optional<Page>& nextPage) = 0;
  virtual void finishEnumeratingWithError(const PlatformError& error) = 0;
};

// Receives a change enumeration (NSFileProviderChangeObserver).
class ChangeObserver {
 public:
  virtual ~ChangeObserver() = default;
  virtual void didDeleteItemsWithIdentifiers(const std::vector<ItemIdentifier>& identifiers) = 0;
  virtual void didUpdateItems(const std::vector<ItemPtr>& items) = 0;
  virtual void finishEnumeratingChangesUpToSyncAnchor(const SyncAnchor& anchor,
                                                      bool moreComing) = 0;
  virtual void finishEnumeratingWithError(const PlatformError& error) = 0;
};

// NSFileProviderEnumerator: every call returns at once; results arrive on the observer.
class Enumerator {
 public:
  virtual ~Enumerator() = default;
  virtual void invalidate() {}
  virtual void enumerateItems(std::shared_ptr<EnumerationObserver> observer,
                              const Page& startingAt) = 0;
  virtual void enumerateChanges(std::shared_ptr<ChangeObserver> observer,
                                const SyncAnchor& fromAnchor) = 0;
  virtual void currentSyncAnchor(std::function<void(std::optional<SyncAnchor>)> completion) = 0;
};

}  // namespace fp
