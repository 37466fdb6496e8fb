#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/enumerator.h"
#include "platform/replicated_extension.h"

namespace drive {

// Defined in extension/extension_bodies.h, which only the extension and its tests see.
struct ExtensionBodies;

// What the platform creates once per domain and calls for every request. Holds no state:
// each request becomes one task running a body, completed exactly once.
class FileProviderExtension : public fp::ReplicatedExtension,
                              public fp::Enumerating,
                              public fp::CustomAction {
 public:
  struct Domain {
    std::string identifier;
    std::string displayName;
  };

  // The domain is not kept; nothing is read and nothing is sent at creation.
  explicit FileProviderExtension(const Domain& domain);
  // For tests that plug their own bodies in.
  FileProviderExtension(const Domain& domain, ExtensionBodies bodies);

  void invalidate() override {}

  // For a host as it starts: what killed processes of the provider left behind goes.
  static void removeLeftovers();

  std::shared_ptr<fp::Progress> itemForIdentifier(const fp::ItemIdentifier& identifier,
                                                  const fp::Request& request,
                                                  fp::ItemCompletion completion) override;
  std::shared_ptr<fp::Progress> fetchContentsForItemWithIdentifier(
      const fp::ItemIdentifier& identifier, const std::optional<fp::ItemVersion>& requestedVersion,
      const fp::Request& request, fp::FetchCompletion completion) override;
  std::shared_ptr<fp::Progress> createItemBasedOnTemplate(fp::ItemPtr itemTemplate,
                                                          fp::ItemFields fields,
                                                          const std::optional<fp::URL>& contents,
                                                          fp::CreateItemOptions options,
                                                          const fp::Request& request,
                                                          fp::ChangeCompletion completion) override;
  std::shared_ptr<fp::Progress> modifyItem(fp::ItemPtr item, const fp::ItemVersion& baseVersion,
                                           fp::ItemFields changedFields,
                                           const std::optional<fp::URL>& contents,
                                           std::uint64_t options, const fp::Request& request,
                                           fp::ChangeCompletion completion) override;
  std::shared_ptr<fp::Progress> deleteItemWithIdentifier(const fp::ItemIdentifier& identifier,
                                                         const fp::ItemVersion& baseVersion,
                                                         std::uint64_t options,
                                                         const fp::Request& request,
                                                         fp::ErrorCompletion completion) override;

  std::shared_ptr<fp::Enumerator> enumeratorForContainerItemIdentifier(
      const fp::ItemIdentifier& containerIdentifier, const fp::Request& request) override;

  std::shared_ptr<fp::Progress> performActionWithIdentifier(
      const fp::ActionIdentifier& action, const std::vector<fp::ItemIdentifier>& itemIdentifiers,
      fp::ErrorCompletion completion) override;

 private:
  std::shared_ptr<const ExtensionBodies> bodies_;
};

}  // namespace drive
