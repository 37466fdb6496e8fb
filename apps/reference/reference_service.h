#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "platform/environment.h"
#include "reference/companion/companion_signals.h"
#include "reference/http/fault_injector.h"
#include "reference/http/request_log.h"
#include "reference/store/service_tree.h"
#include "reference/store/tree_builder.h"

namespace drive::reference {

struct ReferenceOptions {
  // Where the tree, the tokens and the contents are kept across runs; none: a temporary
  // directory, removed when the service goes.
  std::optional<std::filesystem::path> dataDirectory;
  int port = 0;  // 0: an ephemeral port
  int companionPort = 0;
  // Where the companion writes the shared files; none: the app-group container of the
  // installed environment.
  std::optional<std::filesystem::path> container;
  // None: the installed environment's clock, so a test's fake clock rules tokens too.
  std::shared_ptr<fp::Clock> clock;
  std::chrono::seconds tokenLifetime = std::chrono::hours(24 * 30);
  // The signed-in user, for a data directory that has none yet.
  std::string email = "alex.morgan@example.com";
};

// The storage service and the companion-app stand-in on loopback, with what tests need:
// seeding, reading and changing the tree as another client, sessions, the requests received
// and injected faults.
class ReferenceService {
 public:
  explicit ReferenceService(ReferenceOptions options = {});
  ~ReferenceService();
  ReferenceService(const ReferenceService&) = delete;
  ReferenceService& operator=(const ReferenceService&) = delete;

  // Throws std::runtime_error when a port cannot be bound.
  void start();
  // Closes both ports. Requests under way get their answers (uploads are stored whole) except
  // downloads still streaming, which are cut off; the stores stay consistent.
  void stop();
  void stopCompanion();

  std::string baseURL() const;
  std::string companionURL() const;
  int port() const { return port_; }
  int companionPort() const { return companionPort_; }
  const std::filesystem::path& dataDirectory() const { return dataDirectory_; }
  const std::filesystem::path& container() const;

  // Fills an empty store with the demo drive; false when it already held a tree.
  bool seedDemo();
  // Adds to the tree directly, in one transaction, without telling the companion.
  void build(const std::function<void(TreeBuilder&)>& work);
  ServiceTree& tree() { return tree_; }

  // A session for the signed-in user, as the companion hands it out; tokens of any app other
  // than the provider's make changes the companion reports.
  DriveSession issueSession(std::chrono::system_clock::time_point expiresAt,
                            std::string_view app = kDriveApp);
  DriveSession issueSession();
  // The token stops working now, as if its time had run out.
  void expireToken(std::string_view token);

  std::vector<RecordedRequest> requests() const { return serviceLog_.all(); }
  std::vector<RecordedRequest> companionRequests() const { return companionLog_.all(); }
  void clearRequests();

  // The next `times` requests (to either port) whose path matches the pattern meet the fault.
  void injectFault(std::string pathPattern, Fault fault, int times = 1, std::string method = "");
  // A run of 401 answers.
  void injectUnauthorized(std::string pathPattern, int times);
  void clearFaults() { faults_.clear(); }
  int pendingFaults() const { return faults_.pending(); }

  std::vector<nlohmann::json> finderActions() const;
  CompanionSignals& companionSignals();

 private:
  struct Parts;

  ReferenceOptions options_;
  std::filesystem::path dataDirectory_;
  bool temporaryData_ = false;
  RequestLog serviceLog_;
  RequestLog companionLog_;
  FaultInjector faults_;
  std::unique_ptr<Parts> parts_;
  ServiceTree tree_;
  int port_ = -1;
  int companionPort_ = -1;
};

}  // namespace drive::reference
