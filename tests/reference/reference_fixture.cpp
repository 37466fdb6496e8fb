#include "reference/reference_fixture.h"

#include <fstream>

namespace drive::reference::test_support {

void ReferenceTest::SetUp() {
  DriveTest::SetUp();
  service_ = std::make_unique<ReferenceService>();
  ASSERT_TRUE(service_->seedDemo());
  service_->start();
  session_ = service_->issueSession();
  client_ = std::make_unique<HttpClient>(service_->baseURL(), session_.token);
}

void ReferenceTest::TearDown() {
  client_.reset();
  service_.reset();
  DriveTest::TearDown();
}

std::string ReferenceTest::idOf(const std::string& path) {
  const auto node = service_->tree().nodeAt(path);
  if (!node) ADD_FAILURE() << "no node at " << path;
  return node ? node->id : std::string();
}

nlohmann::json ReferenceTest::containerFile(const std::string& name) const {
  std::ifstream in(container() / name);
  if (!in) return nullptr;
  return nlohmann::json::parse(in);
}

}  // namespace drive::reference::test_support
