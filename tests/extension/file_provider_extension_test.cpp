#include "extension/file_provider_extension.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>

#include "extension/extension_bodies.h"
#include "model/drive_api_error.h"
#include "model/drive_sync_error.h"
#include "platform/atomic_file.h"
#include "platform/task_runner.h"
#include "platform/xpc_transaction.h"
#include "support/test_environment.h"

namespace drive {
namespace {

using ::testing::HasSubstr;

fp::ItemPtr templateItem(const std::string& name, const std::string& parent) {
  return std::make_shared<fp::ItemTemplate>("", parent, name, fp::UniformType::data());
}

// Counts a completion's calls and keeps the last error.
struct Completions {
  std::atomic<int> calls{0};
  fp::Error lastError;
  fp::ErrorCompletion errorHandler() {
    return [this](fp::Error error) {
      lastError = std::move(error);
      ++calls;
    };
  }
};

class FileProviderExtensionTest : public test_support::DriveTest {
 protected:
  FileProviderExtension make(ExtensionBodies bodies) {
    return FileProviderExtension({"domain", "PraloDrive"}, std::move(bodies));
  }
  std::string traceLog() {
    fp::TaskRunner::shared().waitIdle();
    return fp::readWholeFile(container() / "drive-trace.log").value_or("");
  }
};

TEST_F(FileProviderExtensionTest, SuccessCompletesOnceWithFullProgress) {
  ExtensionBodies bodies;
  bodies.itemLookup = [](const fp::ItemIdentifier& id) { return templateItem(id, "root"); };
  auto extension = make(bodies);
  std::atomic<int> calls{0};
  std::promise<fp::ItemPtr> result;
  auto progress = extension.itemForIdentifier("node:a", {}, [&](fp::ItemPtr item, fp::Error error) {
    EXPECT_FALSE(error);
    ++calls;
    result.set_value(item);
  });
  EXPECT_EQ(progress->totalUnitCount(), 1);
  EXPECT_EQ(result.get_future().get()->filename(), "node:a");
  fp::TaskRunner::shared().waitIdle();
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(progress->completedUnitCount(), 1);
}

TEST_F(FileProviderExtensionTest, FailuresAreTranslatedOnceAndLeaveProgressAtZero) {
  ExtensionBodies bodies;
  bodies.itemLookup = [](const fp::ItemIdentifier&) -> fp::ItemPtr {
    throw DriveAPIError::http(404, "missing");
  };
  bodies.deleteItem = [](const fp::ItemIdentifier&) { throw DriveSyncError::notWritable(); };
  auto extension = make(bodies);

  std::atomic<int> itemCalls{0};
  fp::Error itemError;
  auto itemProgress = extension.itemForIdentifier("node:a", {}, [&](fp::ItemPtr item, fp::Error e) {
    EXPECT_EQ(item, nullptr);
    itemError = e;
    ++itemCalls;
  });
  Completions deletion;
  auto deleteProgress =
      extension.deleteItemWithIdentifier("node:a", {}, 0, {}, deletion.errorHandler());
  // A request whose body does not exist yet fails through the same path.
  Completions unsupported;
  auto missingProgress = extension.performActionWithIdentifier("x", {}, unsupported.errorHandler());
  fp::TaskRunner::shared().waitIdle();

  EXPECT_EQ(itemCalls, 1);
  EXPECT_EQ(*itemError, fp::PlatformError(fp::NSFileProviderErrorDomain, -1005));
  EXPECT_EQ(deletion.calls, 1);
  EXPECT_EQ(deletion.lastError->code(), 513);
  EXPECT_EQ(unsupported.calls, 1);
  EXPECT_EQ(unsupported.lastError->code(), fp::CocoaErrorCode::featureUnsupported);
  for (const auto& progress : {itemProgress, deleteProgress, missingProgress}) {
    EXPECT_EQ(progress->completedUnitCount(), 0);
  }
}

TEST_F(FileProviderExtensionTest, FetchAndCreateFailuresAreTraced) {
  ExtensionBodies bodies;
  bodies.contentFetch = [](const fp::ItemIdentifier&,
                           const std::optional<fp::ItemVersion>&) -> FetchResult {
    throw DriveSyncError::cloudOnly();
  };
  bodies.create = [](const fp::ItemPtr&, const std::optional<fp::URL>&,
                     fp::CreateItemOptions) -> fp::ItemPtr {
    throw DriveAPIError::http(409, "Name already taken");
  };
  bodies.modify = [](const fp::ItemPtr&, fp::ItemFields,
                     const std::optional<fp::URL>&) -> fp::ItemPtr {
    throw DriveAPIError::http(500, "");
  };
  auto extension = make(bodies);
  std::atomic<int> calls{0};
  extension.fetchContentsForItemWithIdentifier("node:doc", std::nullopt, {},
                                               [&](auto url, auto item, fp::Error error) {
                                                 EXPECT_FALSE(url);
                                                 EXPECT_FALSE(item);
                                                 EXPECT_EQ(error->code(), 513);
                                                 ++calls;
                                               });
  auto onChange = [&](fp::ItemPtr item, fp::ItemFields fields, bool fetch, fp::Error error) {
    EXPECT_FALSE(item);
    EXPECT_EQ(fields, 0u);
    EXPECT_FALSE(fetch);
    EXPECT_TRUE(error);
    ++calls;
  };
  extension.createItemBasedOnTemplate(templateItem("Plan.pdf", "ns:w1"), 0, std::nullopt, 0, {},
                                      onChange);
  extension.modifyItem(templateItem("x", "y"), {}, fp::ItemField::filename, std::nullopt, 0, {},
                       onChange);

  const auto log = traceLog();
  EXPECT_EQ(calls, 3);
  EXPECT_THAT(log, HasSubstr("Z fetch failed node:doc PRALO documents stay in the cloud. Open "
                             "them in PRALO.\n"));
  EXPECT_THAT(log, HasSubstr("Z create failed Plan.pdf parent ns:w1 Name already taken\n"));
  EXPECT_THAT(log, ::testing::Not(HasSubstr("Server error")));  // modify adds no line
}

class RecordingEnumerator : public fp::Enumerator {
 public:
  explicit RecordingEnumerator(std::string served) : served(std::move(served)) {}
  void enumerateItems(std::shared_ptr<fp::EnumerationObserver>, const fp::Page&) override {}
  void enumerateChanges(std::shared_ptr<fp::ChangeObserver>, const fp::SyncAnchor&) override {}
  void currentSyncAnchor(std::function<void(std::optional<fp::SyncAnchor>)>) override {}
  std::string served;
};

struct CollectingObserver : fp::EnumerationObserver, fp::ChangeObserver {
  int items = 0, finishes = 0;
  fp::SyncAnchor anchor;
  void didEnumerateItems(const std::vector<fp::ItemPtr>& list) override { items += list.size(); }
  void finishEnumeratingUpToPage(const std::optional<fp::Page>&) override { ++finishes; }
  void finishEnumeratingWithError(const fp::PlatformError&) override { ++finishes; }
  void didDeleteItemsWithIdentifiers(const std::vector<fp::ItemIdentifier>&) override {}
  void didUpdateItems(const std::vector<fp::ItemPtr>& list) override { items += list.size(); }
  void finishEnumeratingChangesUpToSyncAnchor(const fp::SyncAnchor& a, bool) override {
    anchor = a;
    ++finishes;
  }
};

TEST_F(FileProviderExtensionTest, EnumeratorChoiceComparesThePlatformConstantsOnly) {
  ExtensionBodies bodies;
  bodies.containerEnumerator = [](const fp::ItemIdentifier& id) {
    return std::make_shared<RecordingEnumerator>(id);
  };
  bodies.workingSetEnumerator = [] { return std::make_shared<RecordingEnumerator>("working"); };
  auto extension = make(bodies);
  auto served = [&](const std::string& id) {
    auto enumerator = extension.enumeratorForContainerItemIdentifier(id, {});
    auto recording = std::dynamic_pointer_cast<RecordingEnumerator>(enumerator);
    return recording ? recording->served : std::string("<empty>");
  };
  EXPECT_EQ(served("NSFileProviderTrashContainerItemIdentifier"), "<empty>");
  EXPECT_EQ(served("NSFileProviderWorkingSetContainerItemIdentifier"), "working");
  EXPECT_EQ(served("trash"), "trash");
  EXPECT_EQ(served("workingSet"), "workingSet");
  EXPECT_EQ(served("NSFileProviderRootContainerItemIdentifier"),
            "NSFileProviderRootContainerItemIdentifier");

  auto trash = extension.enumeratorForContainerItemIdentifier(
      std::string(fp::NSFileProviderTrashContainerItemIdentifier), {});
  auto observer = std::make_shared<CollectingObserver>();
  trash->enumerateItems(observer, {});
  trash->enumerateChanges(observer, {'a', 'b'});
  EXPECT_EQ(observer->items, 0);
  EXPECT_EQ(observer->finishes, 2);
  EXPECT_EQ(observer->anchor, (fp::SyncAnchor{'a', 'b'}));
  std::optional<fp::SyncAnchor> anchor;
  trash->currentSyncAnchor([&](auto value) { anchor = value; });
  EXPECT_EQ(anchor, (fp::SyncAnchor{'e', 'm', 'p', 't', 'y'}));
}

TEST_F(FileProviderExtensionTest, ActionHoldsTheTransactionUntilItsFollowUpIsDone) {
  std::promise<void> releaseFollowUp;
  auto release = releaseFollowUp.get_future().share();
  std::promise<void> followUpStarted;
  ExtensionBodies bodies;
  bodies.action = [](const std::string& action, const std::vector<std::string>&) {
    if (action == "fail") throw DriveAPIError::message("Drive is not running.");
    return std::optional<CompanionCommand>(CompanionCommand{{"action", "download"}});
  };
  bodies.actionFollowUp = [&](const CompanionCommand& command) {
    EXPECT_EQ(command["action"], "download");
    followUpStarted.set_value();
    release.wait();
    throw DriveAPIError::message("ignored");
  };
  auto extension = make(bodies);
  Completions completions;
  auto progress = extension.performActionWithIdentifier("offline", {"node:a", "ns:b"},
                                                        completions.errorHandler());
  followUpStarted.get_future().wait();
  // The platform has its answer while the follow-up still runs inside the transaction.
  EXPECT_EQ(completions.calls, 1);
  EXPECT_FALSE(completions.lastError);
  EXPECT_EQ(progress->completedUnitCount(), 1);
  EXPECT_EQ(fp::xpcTransactionCount(), 1);
  releaseFollowUp.set_value();
  EXPECT_TRUE(fp::waitForXpcTransactions(std::chrono::seconds(10)));

  Completions failed;
  extension.performActionWithIdentifier("fail", {}, failed.errorHandler());
  EXPECT_TRUE(fp::waitForXpcTransactions(std::chrono::seconds(10)));
  const auto log = traceLog();
  EXPECT_EQ(failed.calls, 1);
  EXPECT_EQ(failed.lastError->code(), -1004);
  EXPECT_EQ(fp::xpcTransactionCount(), 0);
  EXPECT_THAT(log, HasSubstr(" menu offline node:a,ns:b\n"));
  EXPECT_THAT(log, HasSubstr(" menu fail \n"));
}

}  // namespace
}  // namespace drive
