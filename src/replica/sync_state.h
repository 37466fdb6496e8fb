#pragma once

#include <string>

namespace drive::replica {

// Where an item stands between this machine and the service.
enum class LocalState {
  inStep,        // as the service has it
  waiting,       // a local change waits in the queue
  transferring,  // a local change is being sent
  refused,       // the provider refused the last change; see the reason
  localOnly,     // never goes to the service (refused create, excluded from sync)
};

// What a user is shown: the local state, or for an item in step where its contents are.
enum class SyncState {
  inStep,
  waiting,
  transferring,
  refused,
  localOnly,
  cloudOnly,    // contents not on this machine
  keptOffline,  // contents kept on this machine
};

// "in step", "waiting", "transferring", "refused", "local only", "cloud only", "kept offline".
const std::string& syncStateWord(SyncState state);
const std::string& localStateWord(LocalState state);
// The word's state; inStep for anything unknown.
LocalState localStateFromWord(const std::string& word);

}  // namespace drive::replica
