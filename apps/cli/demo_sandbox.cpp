#include "cli/demo_sandbox.h"

#include <stdlib.h>

#include <stdexcept>

#include "platform/environment.h"
#include "platform/task_runner.h"
#include "platform/xpc_transaction.h"
#include "session/session_store.h"

namespace drive::cli {
namespace {

std::filesystem::path made(const std::filesystem::path& directory) {
  std::filesystem::create_directories(directory);
  return directory;
}

}  // namespace

DemoSandbox::Directory::Directory() {
  std::string pattern =
      (std::filesystem::temp_directory_path() / "pralodrive-demo-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) {
    throw std::runtime_error("cannot create a temporary directory in " +
                             std::filesystem::temp_directory_path().string());
  }
  path = pattern;
}

DemoSandbox::Directory::~Directory() {
  std::error_code ignored;
  std::filesystem::remove_all(path, ignored);
}

DemoSandbox::DemoSandbox() {
  auto environment = *fp::Environment::current();
  environment.homeDirectory = made(root_.path / "home");
  environment.dataHome = made(root_.path / "data");
  environment.configHome = made(root_.path / "config");
  environment.temporaryDirectory = made(root_.path / "tmp");
  environment.appGroupContainer = root_.path / "container";
  fp::Environment::install(environment);

  reference::ReferenceOptions options;
  options.container = container();
  service_ = std::make_unique<reference::ReferenceService>(options);
  service_->start();
  service_->seedDemo();
  environment.apiBaseURL = service_->baseURL();
  environment.companionBaseURL = service_->companionURL();
  environment.webBaseURL = service_->baseURL();
  fp::Environment::install(environment);
  saveSession(service_->issueSession());
}

DemoSandbox::~DemoSandbox() {
  fp::waitForXpcTransactions(std::chrono::minutes(1));
  fp::TaskRunner::shared().waitIdle();
  service_.reset();
}

std::filesystem::path DemoSandbox::container() const {
  return root_.path / "container";
}

}  // namespace drive::cli
