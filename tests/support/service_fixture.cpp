#include "support/service_fixture.h"

#include <fnmatch.h>

#include "platform/atomic_file.h"
#include "platform/task_runner.h"
#include "platform/xpc_transaction.h"
#include "session/session_store.h"

namespace drive::test_support {

void ServiceTest::SetUp() {
  DriveTest::SetUp();
  reference::ReferenceOptions options;
  options.container = container();
  service_ = std::make_unique<reference::ReferenceService>(options);
  service_->start();
  service_->seedDemo();
  configure([&](fp::Environment& environment) {
    environment.apiBaseURL = service_->baseURL();
    environment.companionBaseURL = service_->companionURL();
    environment.webBaseURL = "https://web.example";
  });
  saveSession(service_->issueSession());
  service_->clearRequests();
  extension_ = std::make_unique<FileProviderExtension>(
      FileProviderExtension::Domain{"eu.vantrel.drive", "PraloDrive"});
}

void ServiceTest::TearDown() {
  fp::waitForXpcTransactions(std::chrono::seconds(30));
  fp::TaskRunner::shared().waitIdle();
  extension_.reset();
  service_->stop();
  service_.reset();
  DriveTest::TearDown();
}

std::map<std::string, std::string> ServiceTest::childEnvironment() {
  return {{"PRALODRIVE_API_BASE", service_->baseURL()},
          {"PRALODRIVE_COMPANION", service_->companionURL()},
          {"PRALODRIVE_CONTAINER", container().string()},
          {"HOME", (root() / "home").string()},
          {"XDG_DATA_HOME", (root() / "data").string()},
          {"XDG_CONFIG_HOME", (root() / "config").string()},
          {"XDG_STATE_HOME", (root() / "state").string()},
          {"XDG_CACHE_HOME", (root() / "cache").string()},
          {"TMPDIR", (root() / "tmp").string()}};
}

std::string ServiceTest::idOf(const std::string& path) {
  auto node = service_->tree().nodeAt(path);
  if (!node) {
    ADD_FAILURE() << "no node at " << path;
    return "missing";
  }
  return node->id;
}

std::string ServiceTest::namespaceIdentifier(const std::string& title) {
  for (const auto& storageNamespace : service_->tree().listing().namespaces) {
    if (storageNamespace.title == title) return "ns:" + storageNamespace.id;
  }
  ADD_FAILURE() << "no namespace " << title;
  return "ns:missing";
}

fp::BlockingCalls::ItemReply ServiceTest::item(const std::string& identifier) {
  return fp::BlockingCalls::itemForIdentifier(*extension_, identifier);
}

fp::BlockingCalls::EnumerationReply ServiceTest::list(const std::string& identifier) {
  auto enumerator = extension_->enumeratorForContainerItemIdentifier(identifier, {});
  auto reply = fp::BlockingCalls::enumerateItems(*enumerator);
  fp::TaskRunner::shared().waitIdle();  // the bookkeeping after the finish call
  return reply;
}

fp::BlockingCalls::EnumerationReply ServiceTest::changes(const std::string& identifier) {
  auto enumerator = extension_->enumeratorForContainerItemIdentifier(identifier, {});
  auto reply = fp::BlockingCalls::enumerateChanges(*enumerator, {});
  fp::TaskRunner::shared().waitIdle();
  return reply;
}

std::vector<std::string> ServiceTest::names(const fp::BlockingCalls::EnumerationReply& reply) {
  std::vector<std::string> filenames;
  for (const auto& listed : reply.items)
    filenames.push_back(listed->filename());
  return filenames;
}

int ServiceTest::requestCount(const std::string& method, const std::string& pattern) {
  int count = 0;
  for (const auto& request : service_->requests()) {
    if (request.method == method && ::fnmatch(pattern.c_str(), request.path.c_str(), 0) == 0) {
      ++count;
    }
  }
  return count;
}

std::string ServiceTest::traceLog() {
  fp::TaskRunner::shared().waitIdle();
  return fp::readWholeFile(container() / "drive-trace.log").value_or("");
}

}  // namespace drive::test_support
