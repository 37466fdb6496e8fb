#include "mount/action_names.h"

#include <array>
#include <utility>

namespace drive::mount {
namespace {

constexpr std::array<std::pair<const char*, const char*>, 6> kActions = {{
    {"offline", "eu.vantrel.drive.action.offline"},
    {"online", "eu.vantrel.drive.action.online"},
    {"open", "eu.vantrel.drive.action.openPralo"},
    {"send-copy", "eu.vantrel.drive.action.sendCopy"},
    {"request", "eu.vantrel.drive.action.request"},
    {"history", "eu.vantrel.drive.action.timeMachine"},
}};

}  // namespace

std::optional<std::string> actionIdentifier(const std::string& nameOrIdentifier) {
  for (const auto& [name, identifier] : kActions) {
    if (nameOrIdentifier == name || nameOrIdentifier == identifier) return identifier;
  }
  return std::nullopt;
}

std::string actionShortNames() {
  std::string names;
  for (const auto& [name, identifier] : kActions)
    names += (names.empty() ? "" : ", ") + std::string(name);
  return names;
}

}  // namespace drive::mount
