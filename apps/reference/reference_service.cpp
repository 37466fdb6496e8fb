#include "reference/reference_service.h"

#include <stdexcept>

#include "platform/app_group_container.h"
#include "reference/companion/companion.h"
#include "reference/http/loopback_server.h"
#include "reference/http/service_routes.h"
#include "reference/store/demo_seed.h"
#include "reference/store/random_id.h"

namespace drive::reference {
namespace {

std::filesystem::path makeTemporaryDirectory() {
  std::string pattern =
      (std::filesystem::temp_directory_path() / "pralodrive-reference-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) {
    throw std::runtime_error("cannot create a temporary data directory");
  }
  return pattern;
}

std::filesystem::path prepared(const std::filesystem::path& directory) {
  std::filesystem::create_directories(directory);
  return directory;
}

std::string loopbackURL(int port) {
  return "http://127.0.0.1:" + std::to_string(port);
}

}  // namespace

struct ReferenceService::Parts {
  Parts(const ReferenceOptions& options, const std::filesystem::path& data, RequestLog& serviceLog,
        RequestLog& companionLog, FaultInjector& faults)
      : database(prepared(data) / "drive.sqlite3"),
        blobs(data / "blobs"),
        service(database, blobs, options.clock ? options.clock : fp::Environment::current()->clock,
                options.tokenLifetime),
        routes(server, serviceLog, faults),
        companion(service, options.container.value_or(fp::appGroupContainerURL()), companionLog,
                  faults) {
    addServiceRoutes(routes, service);
    service.setChangeListener([this](const TreeChange& change) { companion.observe(change); });
  }

  Database database;
  BlobStore blobs;
  StorageService service;
  LoopbackServer server;
  RouteTable routes;
  Companion companion;
};

ReferenceService::ReferenceService(ReferenceOptions options)
    : options_(std::move(options)),
      dataDirectory_(options_.dataDirectory ? *options_.dataDirectory : makeTemporaryDirectory()),
      temporaryData_(!options_.dataDirectory),
      parts_(
          std::make_unique<Parts>(options_, dataDirectory_, serviceLog_, companionLog_, faults_)),
      tree_(parts_->service) {
  build([this](TreeBuilder& builder) {
    if (builder.identity().account().email.empty()) {
      builder.identity().setAccount({randomId("usr_", 8), options_.email});
    }
  });
}

ReferenceService::~ReferenceService() {
  stop();
  parts_.reset();
  if (temporaryData_) {
    std::error_code ignored;
    std::filesystem::remove_all(dataDirectory_, ignored);
  }
}

void ReferenceService::start() {
  port_ = parts_->server.start(options_.port);
  if (port_ < 0) throw std::runtime_error("cannot listen on port " + std::to_string(options_.port));
  companionPort_ = parts_->companion.start(options_.companionPort);
  if (companionPort_ < 0) {
    parts_->server.stopServing();
    throw std::runtime_error("cannot listen on port " + std::to_string(options_.companionPort));
  }
}

void ReferenceService::stop() {
  faults_.shutdown();
  stopCompanion();
  parts_->server.stopServing();
}

void ReferenceService::stopCompanion() {
  parts_->companion.stop();
}

std::string ReferenceService::baseURL() const {
  return loopbackURL(port_);
}

std::string ReferenceService::companionURL() const {
  return loopbackURL(companionPort_);
}

const std::filesystem::path& ReferenceService::container() const {
  return parts_->companion.signals().container();
}

bool ReferenceService::seedDemo() {
  bool seeded = false;
  build([&](TreeBuilder& builder) {
    if (!builder.tree().empty()) return;
    drive::reference::seedDemo(builder);
    seeded = true;
  });
  return seeded;
}

void ReferenceService::build(const std::function<void(TreeBuilder&)>& work) {
  parts_->service.edit([&](TreeStore& tree, IdentityStore& identity) {
    TreeBuilder builder(tree, identity, parts_->blobs, parts_->service.now());
    work(builder);
  });
}

DriveSession ReferenceService::issueSession(std::chrono::system_clock::time_point expiresAt,
                                            std::string_view app) {
  return parts_->service.issueSession(app, expiresAt);
}

DriveSession ReferenceService::issueSession() {
  return issueSession(parts_->service.now() + options_.tokenLifetime);
}

void ReferenceService::expireToken(std::string_view token) {
  if (!parts_->service.setTokenExpiry(token, parts_->service.now())) {
    throw std::invalid_argument("the service never issued this token");
  }
}

void ReferenceService::clearRequests() {
  serviceLog_.clear();
  companionLog_.clear();
}

void ReferenceService::injectFault(std::string pathPattern, Fault fault, int times,
                                   std::string method) {
  faults_.add(std::move(pathPattern), std::move(fault), times, std::move(method));
}

void ReferenceService::injectUnauthorized(std::string pathPattern, int times) {
  injectFault(std::move(pathPattern), Fault::message(401, "Token expired"), times);
}

std::vector<nlohmann::json> ReferenceService::finderActions() const {
  return parts_->companion.finderActions();
}

CompanionSignals& ReferenceService::companionSignals() {
  return parts_->companion.signals();
}

}  // namespace drive::reference
