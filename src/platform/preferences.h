#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

namespace fp {

// Stand-in for Core Foundation's application preferences. An application's preferences are
// the user-defaults suite of the same name, read from its file on every call, so there is
// nothing to synchronize first.
namespace Preferences {
// CFPreferencesCopyAppValue: none when the key is absent or the suite has no file.
std::optional<nlohmann::json> copyAppValue(const std::string& key,
                                           const std::string& applicationID);
}  // namespace Preferences

}  // namespace fp
