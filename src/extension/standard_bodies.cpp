#include "extension/extension_bodies.h"
#include "platform/task_runner.h"

namespace drive {
namespace {

fp::PlatformError notSupportedYet() {
  return fp::PlatformError::withDescription(fp::NSCocoaErrorDomain,
                                            fp::CocoaErrorCode::featureUnsupported,
                                            "Enumeration is not supported yet.");
}

// Stands where an enumerator of a later subsystem will: every call fails cleanly.
class UnavailableEnumerator : public fp::Enumerator {
 public:
  void enumerateItems(std::shared_ptr<fp::EnumerationObserver> observer, const fp::Page&) override {
    fp::TaskRunner::shared().post(
        [observer] { observer->finishEnumeratingWithError(notSupportedYet()); });
  }
  void enumerateChanges(std::shared_ptr<fp::ChangeObserver> observer,
                        const fp::SyncAnchor&) override {
    fp::TaskRunner::shared().post(
        [observer] { observer->finishEnumeratingWithError(notSupportedYet()); });
  }
  void currentSyncAnchor(std::function<void(std::optional<fp::SyncAnchor>)> completion) override {
    completion(std::nullopt);
  }
};

}  // namespace

ExtensionBodies ExtensionBodies::standard() {
  ExtensionBodies bodies;
  bodies.containerEnumerator = [](const fp::ItemIdentifier&) {
    return std::make_shared<UnavailableEnumerator>();
  };
  bodies.workingSetEnumerator = [] { return std::make_shared<UnavailableEnumerator>(); };
  return bodies;
}

}  // namespace drive
