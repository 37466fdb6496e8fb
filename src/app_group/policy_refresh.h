#pragma once

#include <set>
#include <string>

namespace drive {

// "drive-policy-refresh.json", written only by the companion app: item identifiers whose
// content policy changed. Empty when the file is missing or unreadable.
std::set<std::string> policyRefreshList();

}  // namespace drive
