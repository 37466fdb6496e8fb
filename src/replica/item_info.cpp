#include "replica/item_info.h"

namespace drive::replica {

SyncState ItemInfo::syncState() const {
  switch (localState) {
    case LocalState::waiting:
      return SyncState::waiting;
    case LocalState::transferring:
      return SyncState::transferring;
    case LocalState::refused:
      return SyncState::refused;
    case LocalState::localOnly:
      return SyncState::localOnly;
    case LocalState::inStep:
      break;
  }
  if (keptOffline) return SyncState::keptOffline;
  if (!isFolder && !downloaded) return SyncState::cloudOnly;
  return SyncState::inStep;
}

}  // namespace drive::replica
