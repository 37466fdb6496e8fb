#include "platform/app_group_container.h"

#include "platform/environment.h"

namespace fp {

std::filesystem::path appGroupContainerURL() {
  const auto environment = Environment::current();
  if (environment->appGroupContainer) return *environment->appGroupContainer;
  return environment->homeDirectory / "Library" / "Group Containers" / kAppGroupIdentifier;
}

void createAppGroupContainer() {
  std::error_code ignored;
  std::filesystem::create_directories(appGroupContainerURL(), ignored);
}

UserDefaults appGroupDefaults() {
  if (auto suite = UserDefaults::suite(kAppGroupIdentifier)) return *suite;
  return UserDefaults::standard();
}

}  // namespace fp
