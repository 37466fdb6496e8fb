#include "enumeration/enumeration_bookkeeping.h"

#include <unicode/unistr.h>

#include <algorithm>
#include <map>
#include <mutex>

#include "app_group/disk_state.h"
#include "app_group/policy_refresh.h"
#include "app_group/remote_refresh.h"
#include "app_group/trace_log.h"
#include "platform/app_group_container.h"
#include "platform/sha256.h"
#include "platform/thread_annotations.h"

namespace drive {
namespace {

constexpr const char* kStoredIdsPrefix = "drive.enum.ids.";

fp::Mutex enumerationLock;
std::map<std::string, std::int64_t> listedRevisions GUARDED_BY(enumerationLock);
std::map<std::string, std::int64_t> expiredRevisions GUARDED_BY(enumerationLock);

// Versions are bytes; invalid UTF-8 reads as U+FFFD, as the platform's decoding does.
std::string versionText(const fp::Bytes& bytes) {
  const auto text = icu::UnicodeString::fromUTF8(
      icu::StringPiece(reinterpret_cast<const char*>(bytes.data()), int32_t(bytes.size())));
  std::string utf8;
  text.toUTF8String(utf8);
  return utf8;
}

}  // namespace

std::vector<std::string> EnumerationBookkeeping::storedIdentifiers(const std::string& container) {
  return fp::appGroupDefaults()
      .stringArrayForKey(kStoredIdsPrefix + container)
      .value_or(std::vector<std::string>{});
}

void EnumerationBookkeeping::setStoredIdentifiers(const std::string& container,
                                                  const std::vector<std::string>& ids) {
  fp::appGroupDefaults().setObject(ids, kStoredIdsPrefix + container);
}

void EnumerationBookkeeping::setListedRevision(const std::string& container,
                                               std::int64_t revision) {
  fp::MutexLock lock(enumerationLock);
  listedRevisions[container] = revision;
}

std::optional<std::int64_t> EnumerationBookkeeping::listedRevision(const std::string& container) {
  fp::MutexLock lock(enumerationLock);
  auto found = listedRevisions.find(container);
  if (found == listedRevisions.end()) return std::nullopt;
  return found->second;
}

bool EnumerationBookkeeping::shouldExpire(const std::string& container, std::int64_t revision) {
  fp::MutexLock lock(enumerationLock);
  auto listed = listedRevisions.find(container);
  if (listed != listedRevisions.end() && listed->second == revision) return false;
  auto expired = expiredRevisions.find(container);
  if (expired != expiredRevisions.end() && expired->second == revision) return false;
  expiredRevisions[container] = revision;
  return true;
}

void EnumerationBookkeeping::resetForTesting() {
  fp::MutexLock lock(enumerationLock);
  listedRevisions.clear();
  expiredRevisions.clear();
}

const fp::Logger& enumerationLogger() {
  static const fp::Logger logger("eu.vantrel.drive", "enumeration");
  return logger;
}

std::string itemSignature(const fp::Item& item) {
  const auto version = item.itemVersion();
  return item.itemIdentifier() + "\t" + item.filename() + "\t" +
         versionText(version.contentVersion) + "\t" + versionText(version.metadataVersion) +
         "\tdrive15";
}

fp::Bytes contentAnchor(const std::vector<fp::ItemPtr>& items, std::int64_t generation) {
  std::vector<std::string> lines;
  lines.reserve(items.size());
  for (const auto& item : items)
    lines.push_back(itemSignature(*item));
  // Byte order of UTF-8 is the order of Unicode scalar values.
  std::sort(lines.begin(), lines.end());
  fp::SHA256 hasher;
  for (std::size_t index = 0; index < lines.size(); ++index) {
    if (index > 0) hasher.update("\n");
    hasher.update(lines[index]);
  }
  hasher.update("\nremote:" + std::to_string(generation));
  return hasher.finalize();
}

void tracePolicy(const std::string& label, const std::string& container, std::int64_t revision,
                 const std::vector<fp::ItemPtr>& items) {
  const auto policyIds = policyRefreshList();
  std::string pairs;
  for (const auto& item : items) {
    if (!policyIds.contains(item->itemIdentifier())) continue;
    if (!pairs.empty()) pairs += ",";
    pairs += item->itemIdentifier() + "=" + std::to_string(int(item->contentPolicy()));
  }
  trace(label + " " + container + " rev=" + std::to_string(revision) +
        " items=" + std::to_string(items.size()) +
        " pinned=" + std::to_string(DriveDiskState::current().pinned.size()) + " " + pairs);
}

}  // namespace drive
