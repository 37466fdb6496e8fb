#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "actions/companion_command.h"
#include "changes/content_fetch.h"
#include "platform/enumerator.h"
#include "platform/replicated_extension.h"

namespace drive {

// The work behind each platform request. The entry object runs these as tasks and owns
// completion and error translation; a body only returns or throws.
struct ExtensionBodies {
  std::function<fp::ItemPtr(const fp::ItemIdentifier&)> itemLookup;
  std::function<FetchResult(const fp::ItemIdentifier&, const std::optional<fp::ItemVersion>&)>
      contentFetch;
  std::function<fp::ItemPtr(const fp::ItemPtr& itemTemplate, const std::optional<fp::URL>&,
                            fp::CreateItemOptions)>
      create;
  std::function<fp::ItemPtr(const fp::ItemPtr& item, fp::ItemFields, const std::optional<fp::URL>&)>
      modify;
  std::function<void(const fp::ItemIdentifier&)> deleteItem;
  // Returns the follow-up command to post once the platform has been answered.
  std::function<std::optional<CompanionCommand>(const std::string& action,
                                                const std::vector<std::string>& identifiers)>
      action;
  std::function<void(const CompanionCommand&)> actionFollowUp;
  std::function<std::shared_ptr<fp::Enumerator>(const fp::ItemIdentifier&)> containerEnumerator;
  std::function<std::shared_ptr<fp::Enumerator>()> workingSetEnumerator;

  // The provider's own bodies.
  static ExtensionBodies standard();
};

}  // namespace drive
