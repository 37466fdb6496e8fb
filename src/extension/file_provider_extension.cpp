#include "extension/file_provider_extension.h"

#include "app_group/trace_log.h"
#include "changes/content_fetch.h"
#include "enumeration/empty_enumerator.h"
#include "extension/extension_bodies.h"
#include "model/map_to_platform_error.h"
#include "platform/reply_once.h"
#include "platform/task_runner.h"
#include "platform/xpc_transaction.h"

namespace drive {
namespace {

using ItemReply = fp::ReplyOnce<fp::ItemPtr, fp::Error>;
using FetchReply = fp::ReplyOnce<std::optional<fp::URL>, fp::ItemPtr, fp::Error>;
using ChangeReply = fp::ReplyOnce<fp::ItemPtr, fp::ItemFields, bool, fp::Error>;
using ErrorReply = fp::ReplyOnce<fp::Error>;

ItemReply itemReply(fp::ItemCompletion completion) {
  return ItemReply("itemForIdentifier", std::move(completion),
                   [](auto& reply, const fp::PlatformError& error) { reply(nullptr, error); });
}

FetchReply fetchReply(fp::FetchCompletion completion) {
  return FetchReply(
      "fetchContents", std::move(completion),
      [](auto& reply, const fp::PlatformError& error) { reply(std::nullopt, nullptr, error); });
}

ChangeReply changeReply(std::string request, fp::ChangeCompletion completion) {
  return ChangeReply(
      std::move(request), std::move(completion),
      [](auto& reply, const fp::PlatformError& error) { reply(nullptr, 0, false, error); });
}

ErrorReply errorReply(std::string request, fp::ErrorCompletion completion) {
  return ErrorReply(std::move(request), std::move(completion),
                    [](auto& reply, const fp::PlatformError& error) { reply(error); });
}

using FailureNote = std::function<void(const std::string& description)>;

// The common request shape: one task runs `work`; success completes the one unit of
// progress and hands the result to `deliver`; failure is translated and reported once.
template <typename Reply, typename Work, typename Deliver>
std::shared_ptr<fp::Progress> startRequest(Reply reply, Work work, Deliver deliver,
                                           FailureNote noteFailure = {}) {
  auto progress = fp::Progress::withTotalUnitCount(1);
  auto shared = std::make_shared<Reply>(std::move(reply));
  fp::TaskRunner::shared().post([progress, shared, work, deliver, noteFailure] {
    try {
      auto result = work();
      progress->setCompletedUnitCount(1);
      deliver(*shared, std::move(result));
    } catch (...) {
      const auto error = std::current_exception();
      if (noteFailure) noteFailure(localizedDescriptionOf(error));
      shared->fail(mapToPlatformError(error));
    }
  });
  return progress;
}

struct Nothing {};

template <typename Body>
const Body& require(const Body& body, const char* request) {
  if (!body) {
    throw fp::PlatformError::withDescription(fp::NSCocoaErrorDomain,
                                             fp::CocoaErrorCode::featureUnsupported,
                                             std::string(request) + " is not supported yet.");
  }
  return body;
}

std::string joined(const std::vector<std::string>& parts, const std::string& separator) {
  std::string text;
  for (std::size_t index = 0; index < parts.size(); ++index) {
    text += (index ? separator : "") + parts[index];
  }
  return text;
}

fp::ItemPtr require(const fp::ItemPtr& item) {
  if (!item)
    throw fp::PlatformError(fp::NSFileProviderErrorDomain, fp::FileProviderErrorCode::noSuchItem);
  return item;
}

// Ends the XPC transaction when the action's task is done, whichever way it ends.
struct TransactionScope {
  TransactionScope() = default;
  TransactionScope(const TransactionScope&) = delete;
  TransactionScope& operator=(const TransactionScope&) = delete;
  ~TransactionScope() { fp::xpc_transaction_end(); }
};

}  // namespace

FileProviderExtension::FileProviderExtension(const Domain& domain)
    : FileProviderExtension(domain, ExtensionBodies::standard()) {}

FileProviderExtension::FileProviderExtension(const Domain&, ExtensionBodies bodies)
    : bodies_(std::make_shared<const ExtensionBodies>(std::move(bodies))) {}

void FileProviderExtension::removeLeftovers() {
  removeAbandonedFetches();
}

std::shared_ptr<fp::Progress> FileProviderExtension::itemForIdentifier(
    const fp::ItemIdentifier& identifier, const fp::Request&, fp::ItemCompletion completion) {
  auto bodies = bodies_;
  return startRequest(
      itemReply(std::move(completion)),
      [bodies, identifier] { return require(bodies->itemLookup, "Item lookup")(identifier); },
      [](ItemReply& reply, fp::ItemPtr item) { reply(std::move(item), std::nullopt); });
}

std::shared_ptr<fp::Progress> FileProviderExtension::fetchContentsForItemWithIdentifier(
    const fp::ItemIdentifier& identifier, const std::optional<fp::ItemVersion>& requestedVersion,
    const fp::Request&, fp::FetchCompletion completion) {
  auto bodies = bodies_;
  return startRequest(
      fetchReply(std::move(completion)),
      [bodies, identifier, requestedVersion] {
        return require(bodies->contentFetch, "Content fetch")(identifier, requestedVersion);
      },
      [](FetchReply& reply, FetchResult result) {
        reply(std::move(result.url), std::move(result.item), std::nullopt);
      },
      [identifier](const std::string& description) {
        trace("fetch failed " + identifier + " " + description);
      });
}

std::shared_ptr<fp::Progress> FileProviderExtension::createItemBasedOnTemplate(
    fp::ItemPtr itemTemplate, fp::ItemFields, const std::optional<fp::URL>& contents,
    fp::CreateItemOptions options, const fp::Request&, fp::ChangeCompletion completion) {
  auto bodies = bodies_;
  return startRequest(
      changeReply("createItem", std::move(completion)),
      [bodies, itemTemplate, contents, options] {
        return require(bodies->create, "Creating items")(require(itemTemplate), contents, options);
      },
      [](ChangeReply& reply, fp::ItemPtr item) { reply(std::move(item), 0, false, std::nullopt); },
      [itemTemplate](const std::string& description) {
        if (!itemTemplate) return;
        trace("create failed " + itemTemplate->filename() + " parent " +
              itemTemplate->parentItemIdentifier() + " " + description);
      });
}

std::shared_ptr<fp::Progress> FileProviderExtension::modifyItem(
    fp::ItemPtr item, const fp::ItemVersion&, fp::ItemFields changedFields,
    const std::optional<fp::URL>& contents, std::uint64_t, const fp::Request&,
    fp::ChangeCompletion completion) {
  auto bodies = bodies_;
  return startRequest(
      changeReply("modifyItem", std::move(completion)),
      [bodies, item, changedFields, contents] {
        return require(bodies->modify, "Changing items")(require(item), changedFields, contents);
      },
      [](ChangeReply& reply, fp::ItemPtr modified) {
        reply(std::move(modified), 0, false, std::nullopt);
      });
}

std::shared_ptr<fp::Progress> FileProviderExtension::deleteItemWithIdentifier(
    const fp::ItemIdentifier& identifier, const fp::ItemVersion&, std::uint64_t, const fp::Request&,
    fp::ErrorCompletion completion) {
  auto bodies = bodies_;
  return startRequest(
      errorReply("deleteItem", std::move(completion)),
      [bodies, identifier] {
        require(bodies->deleteItem, "Deleting items")(identifier);
        return Nothing{};
      },
      [](ErrorReply& reply, Nothing) { reply(std::nullopt); });
}

std::shared_ptr<fp::Enumerator> FileProviderExtension::enumeratorForContainerItemIdentifier(
    const fp::ItemIdentifier& containerIdentifier, const fp::Request&) {
  if (containerIdentifier == fp::NSFileProviderTrashContainerItemIdentifier) {
    return std::make_shared<EmptyEnumerator>();
  }
  if (containerIdentifier == fp::NSFileProviderWorkingSetContainerItemIdentifier) {
    return bodies_->workingSetEnumerator();
  }
  return bodies_->containerEnumerator(containerIdentifier);
}

std::shared_ptr<fp::Progress> FileProviderExtension::performActionWithIdentifier(
    const fp::ActionIdentifier& action, const std::vector<fp::ItemIdentifier>& itemIdentifiers,
    fp::ErrorCompletion completion) {
  auto progress = fp::Progress::withTotalUnitCount(1);
  auto reply = std::make_shared<ErrorReply>(errorReply("performAction", std::move(completion)));
  auto bodies = bodies_;
  auto task = [progress, reply, bodies, action, itemIdentifiers] {
    TransactionScope transaction;
    std::optional<CompanionCommand> followUp;
    try {
      trace("menu " + action + " " + joined(itemIdentifiers, ","));
      followUp = require(bodies->action, "Running Finder actions")(action, itemIdentifiers);
    } catch (...) {
      reply->fail(mapToPlatformError(std::current_exception()));
      return;
    }
    progress->setCompletedUnitCount(1);
    (*reply)(std::nullopt);
    if (!followUp || !bodies->actionFollowUp) return;
    try {
      bodies->actionFollowUp(*followUp);
    } catch (...) {
      // The platform already has its answer; the follow-up reports its own failures.
    }
  };
  fp::xpc_transaction_begin();
  try {
    fp::TaskRunner::shared().post(std::move(task));
  } catch (...) {
    fp::xpc_transaction_end();  // the task that would have ended it never runs
    reply->fail(mapToPlatformError(std::current_exception()));
  }
  return progress;
}

}  // namespace drive
