#include "replica/sync_state.h"

#include <array>

namespace drive::replica {
namespace {

const std::array<std::string, 7> kSyncWords = {
    "in step", "waiting", "transferring", "refused", "local only", "cloud only", "kept offline"};

}  // namespace

const std::string& syncStateWord(SyncState state) {
  return kSyncWords[static_cast<std::size_t>(state)];
}

const std::string& localStateWord(LocalState state) {
  return kSyncWords[static_cast<std::size_t>(state)];
}

LocalState localStateFromWord(const std::string& word) {
  for (std::size_t index = 0; index <= static_cast<std::size_t>(LocalState::localOnly); ++index) {
    if (kSyncWords[index] == word) return static_cast<LocalState>(index);
  }
  return LocalState::inStep;
}

}  // namespace drive::replica
