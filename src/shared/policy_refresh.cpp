#include "shared/policy_refresh.h"

#include "shared/shared_file.h"

namespace drive {

std::set<std::string> policyRefreshList() {
  return readSharedFile<std::set<std::string>>("drive-policy-refresh.json")
      .value_or(std::set<std::string>{});
}

}  // namespace drive
