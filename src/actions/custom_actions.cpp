#include "actions/custom_actions.h"

#include "actions/companion_client.h"
#include "actions/pin_walk.h"
#include "actions/web_links.h"
#include "items/resolve_node_ids.h"
#include "model/drive_sync_error.h"

namespace drive {
namespace {

const std::string kPrefix = "eu.vantrel.drive.action.";

void openEach(const std::vector<std::string>& identifiers) {
  for (const auto& identifier : identifiers) {
    postCommand(CompanionCommand{{"action", "open"}, {"url", webLink(identifier)}});
  }
}

void recallEach(const std::vector<std::string>& identifiers) {
  for (const auto& identifier : identifiers) {
    const auto nodeIds = resolveNodeIds({identifier});
    if (nodeIds.empty()) continue;
    postCommand(CompanionCommand{{"action", "open"}, {"url", recallLink(nodeIds.front())}});
  }
}

}  // namespace

std::optional<CompanionCommand> performAction(const std::string& action,
                                              const std::vector<std::string>& identifiers) {
  if (action == kPrefix + "offline") return pinSelection(identifiers, true);
  if (action == kPrefix + "online") return pinSelection(identifiers, false);
  if (action == kPrefix + "openPralo") {
    openEach(identifiers);
  } else if (action == kPrefix + "timeMachine") {
    recallEach(identifiers);
  } else if (action == kPrefix + "sendCopy" || action == kPrefix + "request") {
    postCommand(CompanionCommand{{"action", action}, {"identifiers", identifiers}});
  } else {
    throw DriveSyncError::unsupported();
  }
  return std::nullopt;
}

}  // namespace drive
