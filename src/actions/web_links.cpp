#include "actions/web_links.h"

#include "api/drive_api.h"
#include "items/item_builders.h"
#include "model/drive_item_id.h"
#include "model/node_kinds.h"
#include "platform/environment.h"

namespace drive {
namespace {

std::string webBase() {
  return fp::Environment::current()->webBaseURL;
}

std::string linkOrFallback(const std::string& link) {
  return fp::isValidURL(link) ? link : fallbackLink();
}

// A folder opens itself; a file opens the folder that holds it.
std::string folderShown(const std::string& nodeId) {
  try {
    const auto node = DriveAPI::shared().node(nodeId);
    if (isContainerNode(node) || !node.parentId) return node.id;
    return *node.parentId;
  } catch (...) {
    return nodeId;
  }
}

}  // namespace

std::string fallbackLink() {
  return webBase() + "/drive";
}

std::string webLink(const std::string& identifier) {
  const auto id = DriveItemID::parse(identifier);
  std::string nodeId;
  if (id.kind() == DriveItemID::Kind::node) {
    nodeId = folderShown(id.id());
  } else if (id.kind() == DriveItemID::Kind::namespaceFolder) {
    try {
      const auto found = DriveAPI::shared().namespaceWithId(id.id(), false);
      if (!found) return fallbackLink();
      nodeId = found->rootNodeId;
    } catch (...) {
      return fallbackLink();
    }
  } else {
    return fallbackLink();
  }
  return linkOrFallback(webBase() + "/drive?node=" + nodeId);
}

std::string recallLink(const std::string& nodeId) {
  return linkOrFallback(webBase() + "/drive?recall=" + nodeId);
}

}  // namespace drive
