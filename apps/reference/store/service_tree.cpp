#include "reference/store/service_tree.h"

#include <unistd.h>

#include "model/node_kinds.h"

namespace drive::reference {
namespace {

constexpr Caller kOtherClient{ChangeOrigin::otherClient, false};

std::vector<std::string_view> split(std::string_view path) {
  std::vector<std::string_view> parts;
  for (std::size_t start = 0; start <= path.size();) {
    const auto slash = std::min(path.find('/', start), path.size());
    parts.push_back(path.substr(start, slash - start));
    start = slash + 1;
  }
  return parts;
}

}  // namespace

std::optional<StorageNode> ServiceTree::nodeAt(std::string_view path) {
  const auto parts = split(path);
  std::optional<StorageNode> current;
  for (const auto& space : service_.listing().namespaces) {
    if (space.title == parts.front()) current = service_.node(space.rootNodeId);
  }
  for (std::size_t i = 1; current && i < parts.size(); ++i) {
    const auto children = service_.children(current->id).children;
    const auto found =
        std::find_if(children.begin(), children.end(),
                     [&](const StorageNode& child) { return child.name == parts[i]; });
    current = found == children.end() ? std::nullopt : std::optional(*found);
  }
  return current;
}

std::string ServiceTree::content(std::string_view id) {
  const auto blob = service_.content(id).second;
  if (!blob) return {};
  std::string bytes(blob->size(), '\0');
  if (::pread(blob->fd(), bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
    throw std::runtime_error("cannot read the content");
  }
  return bytes;
}

StorageNode ServiceTree::addFolder(std::string_view parentId, std::string_view name) {
  return service_.create(kOtherClient, parentId, name, NodeKind::folder);
}

StorageNode ServiceTree::addFile(std::string_view parentId, std::string_view name,
                                 std::string_view content) {
  const auto node = service_.create(kOtherClient, parentId, name, NodeKind::file);
  return content.empty() ? node : writeContent(node.id, content);
}

StorageNode ServiceTree::rename(std::string_view id, std::string_view name) {
  return service_.rename(kOtherClient, id, name);
}

StorageNode ServiceTree::move(std::string_view id, std::string_view parentId) {
  return service_.move(kOtherClient, id, parentId);
}

void ServiceTree::remove(std::string_view id) {
  service_.trash(kOtherClient, id);
}

StorageNode ServiceTree::writeContent(std::string_view id, std::string_view bytes) {
  service_.checkUpload(kOtherClient, id);
  auto writer = service_.newBlob();
  writer->write(bytes.data(), bytes.size());
  return service_.commitUpload(kOtherClient, id, writer->finish());
}

}  // namespace drive::reference
