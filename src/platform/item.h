#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/item_identifier.h"
#include "platform/uniform_type.h"

namespace fp {

// Seconds since 1970 as a double, the way NSDate carries them.
using Date = std::chrono::time_point<std::chrono::system_clock, std::chrono::duration<double>>;

using Bytes = std::vector<std::uint8_t>;

struct ItemVersion {
  Bytes contentVersion;
  Bytes metadataVersion;
  bool operator==(const ItemVersion&) const = default;
};

// NSFileProviderItemCapabilities bits.
using ItemCapabilities = std::uint64_t;
namespace ItemCapability {
inline constexpr ItemCapabilities reading = 1;
inline constexpr ItemCapabilities writing = 2;
inline constexpr ItemCapabilities reparenting = 4;
inline constexpr ItemCapabilities renaming = 8;
inline constexpr ItemCapabilities trashing = 16;
inline constexpr ItemCapabilities deleting = 32;
inline constexpr ItemCapabilities evicting = 64;
}  // namespace ItemCapability

// NSFileProviderItemFields bits, in the platform's order.
using ItemFields = std::uint64_t;
namespace ItemField {
inline constexpr ItemFields contents = 1 << 0;
inline constexpr ItemFields filename = 1 << 1;
inline constexpr ItemFields parentItemIdentifier = 1 << 2;
inline constexpr ItemFields lastUsedDate = 1 << 3;
inline constexpr ItemFields tagData = 1 << 4;
inline constexpr ItemFields favoriteRank = 1 << 5;
inline constexpr ItemFields creationDate = 1 << 6;
inline constexpr ItemFields contentModificationDate = 1 << 7;
inline constexpr ItemFields fileSystemFlags = 1 << 8;
inline constexpr ItemFields extendedAttributes = 1 << 9;
inline constexpr ItemFields typeAndCreator = 1 << 10;
}  // namespace ItemField

// NSFileProviderCreateItemOptions bits.
using CreateItemOptions = std::uint64_t;
namespace CreateItemOption {
inline constexpr CreateItemOptions mayAlreadyExist = 1 << 0;
inline constexpr CreateItemOptions deletionConflicted = 1 << 1;
}  // namespace CreateItemOption

enum class ContentPolicy : int {
  inherited = 0,
  downloadLazily = 1,
  downloadLazilyAndEvictOnRemoteUpdate = 2,
  downloadEagerlyAndKeepDownloaded = 3,
};

using DecorationIdentifier = std::string;
using ItemUserInfo = std::map<std::string, std::string>;

// The properties the platform reads from an item (NSFileProviderItem with decorations).
class Item {
 public:
  virtual ~Item() = default;
  virtual ItemIdentifier itemIdentifier() const = 0;
  virtual ItemIdentifier parentItemIdentifier() const = 0;
  virtual std::string filename() const = 0;
  virtual UniformType contentType() const = 0;
  virtual ItemVersion itemVersion() const { return {}; }
  virtual ItemCapabilities capabilities() const { return ItemCapability::reading; }
  virtual std::optional<std::int64_t> documentSize() const { return std::nullopt; }
  virtual std::optional<Date> contentModificationDate() const { return std::nullopt; }
  virtual std::optional<Date> creationDate() const { return std::nullopt; }
  virtual bool isDownloaded() const { return false; }
  virtual bool isMostRecentVersionDownloaded() const { return false; }
  virtual bool isUploaded() const { return true; }
  virtual std::vector<DecorationIdentifier> decorations() const { return {}; }
  virtual ItemUserInfo userInfo() const { return {}; }
  virtual ContentPolicy contentPolicy() const { return ContentPolicy::inherited; }
};

using ItemPtr = std::shared_ptr<const Item>;

// What the platform hands over for a new or changed item: a few plain properties.
class ItemTemplate : public Item {
 public:
  ItemTemplate(ItemIdentifier identifier, ItemIdentifier parent, std::string filename,
               UniformType type)
      : identifier_(std::move(identifier)),
        parent_(std::move(parent)),
        filename_(std::move(filename)),
        type_(std::move(type)) {}

  ItemIdentifier itemIdentifier() const override { return identifier_; }
  ItemIdentifier parentItemIdentifier() const override { return parent_; }
  std::string filename() const override { return filename_; }
  UniformType contentType() const override { return type_; }

 private:
  ItemIdentifier identifier_;
  ItemIdentifier parent_;
  std::string filename_;
  UniformType type_;
};

}  // namespace fp
