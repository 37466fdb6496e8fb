#include "platform/preferences.h"

#include "platform/user_defaults.h"

namespace fp {

std::optional<nlohmann::json> Preferences::copyAppValue(const std::string& key,
                                                        const std::string& applicationID) {
  const auto suite = UserDefaults::suite(applicationID);
  if (!suite) return std::nullopt;
  return suite->objectForKey(key);
}

}  // namespace fp
