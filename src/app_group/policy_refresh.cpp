#include "app_group/policy_refresh.h"

#include "app_group/shared_file.h"

namespace drive {

std::set<std::string> policyRefreshList() {
  return readSharedFile<std::set<std::string>>("drive-policy-refresh.json")
      .value_or(std::set<std::string>{});
}

}  // namespace drive
