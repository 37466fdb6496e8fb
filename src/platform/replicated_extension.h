#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/enumerator.h"
#include "platform/item.h"
#include "platform/platform_error.h"
#include "platform/progress.h"

namespace fp {

using URL = std::filesystem::path;
using Error = std::optional<PlatformError>;

// The platform's per-request object (NSFileProviderRequest); nothing in it is read.
struct Request {};

using ItemCompletion = std::function<void(ItemPtr, Error)>;
using FetchCompletion = std::function<void(std::optional<URL>, ItemPtr, Error)>;
// Created or modified item, still-pending fields, should fetch content, error.
using ChangeCompletion = std::function<void(ItemPtr, ItemFields, bool, Error)>;
using ErrorCompletion = std::function<void(Error)>;

using ActionIdentifier = std::string;

// NSFileProviderReplicatedExtension.
class ReplicatedExtension {
 public:
  virtual ~ReplicatedExtension() = default;
  virtual void invalidate() = 0;
  virtual std::shared_ptr<Progress> itemForIdentifier(const ItemIdentifier& identifier,
                                                      const Request& request,
                                                      ItemCompletion completion) = 0;
  virtual std::shared_ptr<Progress> fetchContentsForItemWithIdentifier(
      const ItemIdentifier& identifier, const std::optional<ItemVersion>& requestedVersion,
      const Request& request, FetchCompletion completion) = 0;
  virtual std::shared_ptr<Progress> createItemBasedOnTemplate(
      ItemPtr itemTemplate, ItemFields fields, const std::optional<URL>& contents,
      CreateItemOptions options, const Request& request, ChangeCompletion completion) = 0;
  virtual std::shared_ptr<Progress> modifyItem(ItemPtr item, const ItemVersion& baseVersion,
                                               ItemFields changedFields,
                                               const std::optional<URL>& contents,
                                               std::uint64_t options, const Request& request,
                                               ChangeCompletion completion) = 0;
  virtual std::shared_ptr<Progress> deleteItemWithIdentifier(const ItemIdentifier& identifier,
                                                             const ItemVersion& baseVersion,
                                                             std::uint64_t options,
                                                             const Request& request,
                                                             ErrorCompletion completion) = 0;
};

// NSFileProviderEnumerating.
class Enumerating {
 public:
  virtual ~Enumerating() = default;
  virtual std::shared_ptr<Enumerator> enumeratorForContainerItemIdentifier(
      const ItemIdentifier& containerIdentifier, const Request& request) = 0;
};

// NSFileProviderCustomAction.
class CustomAction {
 public:
  virtual ~CustomAction() = default;
  virtual std::shared_ptr<Progress> performActionWithIdentifier(
      const ActionIdentifier& action, const std::vector<ItemIdentifier>& itemIdentifiers,
      ErrorCompletion completion) = 0;
};

}  // namespace fp
