#include "actions/companion_client.h"

#include "app_group/trace_log.h"
#include "model/drive_api_error.h"
#include "model/map_to_platform_error.h"
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
  // A companion that connects but never answers must not hold the action longer.
  request.totalTimeout = kTimeout;
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
    } catch (...) {
      // A library's text (a command that cannot be written, say) goes to the log, not here.
      trace("helper retry " + std::to_string(attempt) + " " + action + " " +
            localizedDescriptionOf(std::current_exception()));
    }
    fp::Environment::current()->clock->sleepFor(kRetryDelay);
  }
}

}  // namespace drive
