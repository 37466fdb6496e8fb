#include "shared/app_group_container.h"

#include "platform/environment.h"
#include "platform/private_directories.h"

namespace drive {

std::filesystem::path appGroupContainerURL() {
  const auto environment = fp::Environment::current();
  if (environment->appGroupContainer) return *environment->appGroupContainer;
  return environment->homeDirectory / "Library" / "Group Containers" / kAppGroupIdentifier;
}

void createAppGroupContainer() {
  fp::createPrivateDirectories(appGroupContainerURL());
}

fp::UserDefaults appGroupDefaults() {
  if (auto suite = fp::UserDefaults::suite(kAppGroupIdentifier)) return *suite;
  return fp::UserDefaults::standard();
}

}  // namespace drive
