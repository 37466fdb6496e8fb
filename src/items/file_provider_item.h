#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "model/sync_mode.h"
#include "platform/item.h"

namespace drive {

inline constexpr const char* kPraloBadgeDecoration =
    "eu.vantrel.drive.FileProvider.sync.pralo.badge";
inline constexpr const char* kPraloDecoration = "eu.vantrel.drive.FileProvider.sync.pralo";

// The immutable record handed to the platform for every item. Made by the item builders.
class FileProviderItem : public fp::Item {
 public:
  // What a builder decides; the item derives its versions, user info and decorations.
  struct Record {
    fp::ItemIdentifier identifier;
    fp::ItemIdentifier parent;
    std::string filename;
    fp::UniformType contentType = fp::UniformType::data();
    fp::Bytes contentVersion;
    fp::ItemCapabilities capabilities = fp::ItemCapability::reading;
    std::optional<std::int64_t> documentSize;
    std::optional<fp::Date> modificationDate;
    std::optional<fp::Date> creationDate;
    bool isDownloaded = false;
    bool isContainer = false;
    // Counts as present locally in the metadata version ("local" rather than "cloud").
    bool isLocal = false;
    SyncMode syncMode = SyncMode::listing;
    std::int64_t revision = 0;
  };

  explicit FileProviderItem(Record record);

  // The domain's root container.
  static std::shared_ptr<const FileProviderItem> root();

  fp::ItemIdentifier itemIdentifier() const override { return record_.identifier; }
  fp::ItemIdentifier parentItemIdentifier() const override { return record_.parent; }
  std::string filename() const override { return record_.filename; }
  fp::UniformType contentType() const override { return record_.contentType; }
  fp::ItemVersion itemVersion() const override { return version_; }
  fp::ItemCapabilities capabilities() const override { return record_.capabilities; }
  std::optional<std::int64_t> documentSize() const override { return record_.documentSize; }
  std::optional<fp::Date> contentModificationDate() const override {
    return record_.modificationDate;
  }
  std::optional<fp::Date> creationDate() const override { return record_.creationDate; }
  bool isDownloaded() const override { return record_.isDownloaded; }
  bool isMostRecentVersionDownloaded() const override { return record_.isDownloaded; }
  bool isUploaded() const override { return true; }
  std::vector<fp::DecorationIdentifier> decorations() const override;
  fp::ItemUserInfo userInfo() const override;
  fp::ContentPolicy contentPolicy() const override { return fp::ContentPolicy::downloadLazily; }

  SyncMode syncMode() const { return record_.syncMode; }

 private:
  Record record_;
  fp::ItemVersion version_;
};

// Seconds since 1970 in the shortest decimal that reads back the same, always with a
// fraction ("1714566600.0", "1714566600.25"); "0.0" without a date.
std::string timeStampText(const std::optional<fp::Date>& date);

inline fp::Bytes bytesOf(const std::string& text) {
  return fp::Bytes(text.begin(), text.end());
}

}  // namespace drive
