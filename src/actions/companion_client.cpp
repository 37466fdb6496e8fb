#include "actions/companion_client.h"

#include "app_group/trace_log.h"
#include "model/drive_api_error.h"
#include "platform/environment.h"
#include "platform/platform_error.h"
#include "platform/url_session.h"

namespace drive {
namespace {

constexpr int kAttempts = 6;
constexpr auto kRetryDelay = std::chrono::nanoseconds(350'000'000);
constexpr auto kTimeout = std::chrono::seconds(4);

DriveAPIError notRunning() {
  return DriveAPIError::message("Drive is not running.");
}

}  // namespace

void postCommand(const CompanionCommand& command) {
  fp::URLRequest request;
  request.url = fp::Environment::current()->companionBaseURL + "/finder-action";
  request.method = "POST";
  request.headers = {{"Content-Type", "application/json"}, {"X-Drive-Caller", "provider"}};
  request.body = command.dump();
  request.timeout = kTimeout;
  if (!fp::isPlainHTTPURL(request.url)) throw notRunning();
  long status = 0;
  try {
    status = fp::URLSession::shared().send(request).response.statusCode;
  } catch (const fp::PlatformError&) {
    throw notRunning();
  }
  if (status != 200) throw notRunning();
}

void postCommandWithRetries(const CompanionCommand& command) {
  const auto action = command.contains("action") && command["action"].is_string()
                          ? command["action"].get<std::string>()
                          : std::string();
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    try {
      postCommand(command);
      return;
    } catch (const std::exception& error) {
      trace("helper retry " + std::to_string(attempt) + " " + action + " " + error.what());
    }
    fp::Environment::current()->clock->sleepFor(kRetryDelay);
  }
}

}  // namespace drive
