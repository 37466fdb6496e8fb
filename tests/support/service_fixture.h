#pragma once

#include <map>
#include <memory>
#include <string>

#include "extension/file_provider_extension.h"
#include "platform/blocking_calls.h"
#include "reference/reference_service.h"
#include "support/test_environment.h"

namespace drive::test_support {

// The demo drive on a reference service over loopback, its companion writing into this
// test's container, and a signed-in session in the stores: the provider as a user has it.
class ServiceTest : public DriveTest {
 protected:
  void SetUp() override;
  void TearDown() override;

  reference::ReferenceService& service() { return *service_; }
  FileProviderExtension& extension() { return *extension_; }

  // The id of the node at "<namespace title>/<name>/…"; fails the test when there is none.
  std::string idOf(const std::string& path);
  std::string nodeIdentifier(const std::string& path) { return "node:" + idOf(path); }
  // "ns:<id>" of the namespace with that title.
  std::string namespaceIdentifier(const std::string& title);

  // Requests as the platform makes them.
  fp::BlockingCalls::ItemReply item(const std::string& identifier);
  fp::BlockingCalls::EnumerationReply list(const std::string& identifier);
  fp::BlockingCalls::EnumerationReply changes(const std::string& identifier);
  // The filenames of a listing, in order.
  std::vector<std::string> names(const fp::BlockingCalls::EnumerationReply& reply);

  // The environment of a `pralodrive` child process on this test's service, container and
  // directories.
  std::map<std::string, std::string> childEnvironment();

  // How many requests with this method reached paths matching `pattern` (fnmatch).
  int requestCount(const std::string& method, const std::string& pattern);
  std::string traceLog();

 private:
  std::unique_ptr<reference::ReferenceService> service_;
  std::unique_ptr<FileProviderExtension> extension_;
};

}  // namespace drive::test_support
