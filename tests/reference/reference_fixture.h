#pragma once

#include <memory>
#include <string>

#include "reference/http_client.h"
#include "reference/reference_service.h"
#include "support/test_environment.h"

namespace drive::reference::test_support {

// The demo drive served on ephemeral ports, its companion writing into the test's container,
// and a client signed in as the provider.
class ReferenceTest : public drive::test_support::DriveTest {
 protected:
  void SetUp() override;
  void TearDown() override;

  ReferenceService& service() { return *service_; }
  HttpClient& client() { return *client_; }
  const DriveSession& session() const { return session_; }

  // The id of the node at "<namespace title>/<name>/…"; fails the test when there is none.
  std::string idOf(const std::string& path);
  // A shared file of the container as JSON; null when it is missing.
  nlohmann::json containerFile(const std::string& name) const;

 private:
  std::unique_ptr<ReferenceService> service_;
  std::unique_ptr<HttpClient> client_;
  DriveSession session_;
};

}  // namespace drive::reference::test_support
