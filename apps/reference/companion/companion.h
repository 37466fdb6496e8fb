#pragma once

#include <filesystem>
#include <nlohmann/json.hpp>
#include <vector>

#include "platform/thread_annotations.h"
#include "reference/companion/companion_signals.h"
#include "reference/http/http_exchange.h"
#include "reference/http/loopback_server.h"
#include "reference/store/storage_service.h"

namespace drive::reference {

// The companion app as the provider meets it: the loopback endpoint that hands out the
// session and takes Finder commands, and the writer of the shared files that tells the
// provider about changes made on the service by anyone else.
class Companion {
 public:
  Companion(StorageService& service, std::filesystem::path container, RequestLog& log,
            FaultInjector& faults);
  ~Companion();

  // The port, or -1 when it cannot bind.
  int start(int port);
  void stop();

  CompanionSignals& signals() { return signals_; }
  // Every command received on "/finder-action", in order.
  std::vector<nlohmann::json> finderActions() const;
  void clearFinderActions();

  // Turns a change of the service into the signal files, unless the provider made it.
  void observe(const TreeChange& change);

 private:
  void addRoutes();

  StorageService& service_;
  CompanionSignals signals_;
  LoopbackServer server_;
  RouteTable routes_;
  mutable fp::Mutex mutex_;
  std::vector<nlohmann::json> finderActions_ GUARDED_BY(mutex_);
};

}  // namespace drive::reference
