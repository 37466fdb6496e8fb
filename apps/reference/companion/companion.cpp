#include "reference/companion/companion.h"

#include "model/drive_item_id.h"
#include "reference/http/service_error.h"

namespace drive::reference {
namespace {

// A container as the provider's enumerators name it.
std::string containerIdentifier(const ContainerRef& container) {
  if (container.rootOfNamespace) {
    return DriveItemID::namespaceFolder(*container.rootOfNamespace).format();
  }
  if (container.nodeId.empty()) return DriveItemID::root().format();
  return DriveItemID::node(container.nodeId).format();
}

std::vector<std::string> itemIdentifiers(const std::vector<std::string>& nodeIds) {
  std::vector<std::string> identifiers;
  for (const auto& id : nodeIds)
    identifiers.push_back(DriveItemID::node(id).format());
  return identifiers;
}

}  // namespace

Companion::Companion(StorageService& service, std::filesystem::path container, RequestLog& log,
                     FaultInjector& faults)
    : service_(service), signals_(std::move(container)), routes_(server_, log, faults) {
  addRoutes();
}

Companion::~Companion() {
  stop();
}

int Companion::start(int port) {
  return server_.start(port);
}

void Companion::stop() {
  server_.stopServing();
}

std::vector<nlohmann::json> Companion::finderActions() const {
  fp::MutexLock lock(mutex_);
  return finderActions_;
}

void Companion::clearFinderActions() {
  fp::MutexLock lock(mutex_);
  finderActions_.clear();
}

void Companion::observe(const TreeChange& change) {
  if (change.origin == ChangeOrigin::provider) return;
  std::vector<std::string> pending;
  for (const auto& container : change.containers)
    pending.push_back(containerIdentifier(container));
  signals_.noteRemoteChange(pending, itemIdentifiers(change.updatedNodeIds),
                            itemIdentifiers(change.deletedNodeIds));
}

void Companion::addRoutes() {
  routes_.on("GET", "/session", [this](Exchange& exchange) {
    const auto expiry = service_.now() + service_.tokenLifetime();
    exchange.sendJSON(200, encodeRecord(service_.issueSession(kDriveApp, expiry)));
  });
  routes_.on("POST", "/finder-action", [this](Exchange& exchange) {
    if (exchange.request().get_header_value("X-Drive-Caller") != "provider") {
      throw ServiceError(403, "Unknown caller");
    }
    auto command = exchange.jsonObjectBody();
    if (!command.contains("action") || !command["action"].is_string()) {
      throw ServiceError::badRequest("\"action\" must be a string");
    }
    fp::MutexLock lock(mutex_);
    finderActions_.push_back(std::move(command));
    exchange.sendJSON(200, nlohmann::ordered_json::object());
  });
  routes_.on("PUT", "/sync-selection", [this](Exchange& exchange) {
    const auto selection = SyncSelection::fromJSON(exchange.jsonObjectBody());
    if (!selection) throw ServiceError::badRequest("Not a sync selection");
    signals_.writeSyncSelection(*selection);
    exchange.sendNoContent();
  });
  routes_.on("DELETE", "/sync-selection", [this](Exchange& exchange) {
    signals_.clearSyncSelection();
    exchange.sendNoContent();
  });
  routes_.on("PUT", "/policy-refresh", [this](Exchange& exchange) {
    const auto list = exchange.jsonBody();
    if (!list.is_array() ||
        !std::all_of(list.begin(), list.end(), [](const auto& item) { return item.is_string(); })) {
      throw ServiceError::badRequest("Body must be an array of identifiers");
    }
    signals_.writePolicyRefresh(list.get<std::vector<std::string>>());
    exchange.sendNoContent();
  });
  routes_.finish();
}

}  // namespace drive::reference
