#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/item.h"
#include "platform/system_log.h"

namespace drive {

// What the enumerators remember between requests: the identifiers last reported per
// container (in the shared defaults, across launches) and, for this process only, the
// revisions at which containers were listed and the working set expired.
namespace EnumerationBookkeeping {

std::vector<std::string> storedIdentifiers(const std::string& container);
void setStoredIdentifiers(const std::string& container, const std::vector<std::string>& ids);

// Each takes enumerationLock for one map access.
void setListedRevision(const std::string& container, std::int64_t revision);
std::optional<std::int64_t> listedRevision(const std::string& container);
// The working set's expiry: true (and remembered) at most once per revision, never for a
// revision at which it was listed.
bool shouldExpire(const std::string& container, std::int64_t revision);

// Forgets the in-process maps, as a new process would.
void resetForTesting();

}  // namespace EnumerationBookkeeping

// The log every enumerator writes to.
const fp::Logger& enumerationLogger();

// "<identifier>\t<filename>\t<content version>\t<metadata version>\tdrive15".
std::string itemSignature(const fp::Item& item);
// SHA-256 of the sorted signatures joined by "\n", then "\nremote:<generation>".
fp::Bytes contentAnchor(const std::vector<fp::ItemPtr>& items, std::int64_t generation);
// The "<label> <container> rev=<R> items=<N> pinned=<P> <id>=<policy>,…" trace line.
void tracePolicy(const std::string& label, const std::string& container, std::int64_t revision,
                 const std::vector<fp::ItemPtr>& items);

}  // namespace drive
