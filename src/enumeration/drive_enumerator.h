#pragma once

#include "platform/enumerator.h"

namespace drive {

// Serves every container but the working set and the trash: one page of items, changes
// against the identifiers reported last time, and a content digest as the sync anchor.
class DriveEnumerator : public fp::Enumerator {
 public:
  explicit DriveEnumerator(fp::ItemIdentifier identifier) : identifier_(std::move(identifier)) {}

  void enumerateItems(std::shared_ptr<fp::EnumerationObserver> observer,
                      const fp::Page& startingAt) override;
  void enumerateChanges(std::shared_ptr<fp::ChangeObserver> observer,
                        const fp::SyncAnchor& fromAnchor) override;
  void currentSyncAnchor(std::function<void(std::optional<fp::SyncAnchor>)> completion) override;

  const fp::ItemIdentifier& identifier() const { return identifier_; }

 private:
  const fp::ItemIdentifier identifier_;
};

}  // namespace drive
