#include "mount/kernel_names.h"

namespace drive::mount {

void KernelNames::told(replica::ItemKey key, replica::ItemKey parent, const std::string& name) {
  fp::MutexLock lock(mutex_);
  auto& entry = entries_[key];
  entry.parent = parent;
  if (entry.name != name) entry.name = name;
}

std::optional<KernelNames::Entry> KernelNames::entryOf(replica::ItemKey key) const {
  fp::MutexLock lock(mutex_);
  const auto found = entries_.find(key);
  if (found == entries_.end()) return std::nullopt;
  return found->second;
}

void KernelNames::forget(replica::ItemKey key) {
  fp::MutexLock lock(mutex_);
  entries_.erase(key);
  aliases_.erase(key);
}

void KernelNames::alias(replica::ItemKey from, replica::ItemKey to) {
  fp::MutexLock lock(mutex_);
  for (auto& [alias, target] : aliases_) {
    if (target == from) target = to;
  }
  aliases_[from] = to;
}

replica::ItemKey KernelNames::resolve(replica::ItemKey key) const {
  fp::MutexLock lock(mutex_);
  const auto found = aliases_.find(key);
  return found == aliases_.end() ? key : found->second;
}

std::vector<replica::ItemKey> KernelNames::aliasesOf(replica::ItemKey key) const {
  fp::MutexLock lock(mutex_);
  std::vector<replica::ItemKey> aliases;
  for (const auto& [alias, target] : aliases_) {
    if (target == key) aliases.push_back(alias);
  }
  return aliases;
}

}  // namespace drive::mount
