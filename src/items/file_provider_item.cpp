#include "items/file_provider_item.h"

#include <charconv>

#include "items/item_builders.h"
#include "model/node_kinds.h"

namespace drive {

const std::string& syncModeWord(SyncMode mode) {
  static const std::string words[] = {"myDrive", "folder", "online", "offline", "pralo", "listing"};
  return words[static_cast<int>(mode)];
}

bool isWritableMode(SyncMode mode) {
  return mode == SyncMode::myDrive || mode == SyncMode::folder || mode == SyncMode::online ||
         mode == SyncMode::offline;
}

std::string timeStampText(const std::optional<fp::Date>& date) {
  if (!date) return "0.0";
  char buffer[64];
  const double seconds = date->time_since_epoch().count();
  const auto end = std::to_chars(buffer, buffer + sizeof buffer, seconds, std::chars_format::fixed);
  std::string text(buffer, end.ptr);
  if (text.find('.') == std::string::npos) text += ".0";
  return text;
}

FileProviderItem::FileProviderItem(Record record) : record_(std::move(record)) {
  version_.contentVersion = record_.contentVersion;
  version_.metadataVersion =
      bytesOf("sync14-" + std::to_string(record_.revision) + "-" + syncModeWord(record_.syncMode) +
              "-" + (record_.isLocal ? "local" : "cloud") + "-" +
              timeStampText(record_.modificationDate) + "-" + record_.filename);
}

std::shared_ptr<const FileProviderItem> FileProviderItem::root() {
  return buildRootItem();
}

std::vector<fp::DecorationIdentifier> FileProviderItem::decorations() const {
  if (record_.syncMode != SyncMode::pralo) return {};
  return {kPraloBadgeDecoration, kPraloDecoration};
}

fp::ItemUserInfo FileProviderItem::userInfo() const {
  return {{"sync", syncModeWord(record_.syncMode)},
          {"writable", isWritableMode(record_.syncMode) ? "1" : "0"},
          {"kind", std::string(record_.isContainer ? NodeKind::folder : NodeKind::file)}};
}

}  // namespace drive
