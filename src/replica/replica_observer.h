#pragma once

#include "replica/item_key.h"

namespace drive::replica {

// Told about changes that came from the service. Called on the replica's own thread with no
// replica lock held, so it may query the replica; it must not wait for the network.
class ReplicaObserver {
 public:
  virtual ~ReplicaObserver() = default;
  virtual void itemAdded(ItemKey parent, ItemKey key) = 0;
  // Name, parent, metadata or contents changed; `oldParent` differs from `parent` after a move.
  virtual void itemChanged(ItemKey oldParent, ItemKey parent, ItemKey key,
                           bool contentsChanged) = 0;
  virtual void itemRemoved(ItemKey parent, ItemKey key) = 0;
};

}  // namespace drive::replica
