#include "cli/global_options.h"

#include <arpa/inet.h>
#include <curl/curl.h>

#include <CLI/CLI.hpp>

#include "platform/environment.h"
#include "platform/system_log.h"

namespace drive::cli {
namespace {

struct ParsedURL {
  std::string scheme;
  std::string host;
};

std::optional<ParsedURL> parseURL(const std::string& url) {
  CURLU* handle = curl_url();
  std::optional<ParsedURL> parsed;
  char* scheme = nullptr;
  char* host = nullptr;
  if (curl_url_set(handle, CURLUPART_URL, url.c_str(), 0) == CURLUE_OK &&
      curl_url_get(handle, CURLUPART_SCHEME, &scheme, 0) == CURLUE_OK &&
      curl_url_get(handle, CURLUPART_HOST, &host, 0) == CURLUE_OK) {
    parsed = ParsedURL{scheme, host};
  }
  curl_free(scheme);
  curl_free(host);
  curl_url_cleanup(handle);
  return parsed;
}

bool isLoopbackHost(const std::string& host) {
  if (host == "localhost" || host == "[::1]") return true;
  in_addr address{};
  return inet_pton(AF_INET, host.c_str(), &address) == 1 && (ntohl(address.s_addr) >> 24) == 127;
}

std::string checkedURL(const std::string& option, const std::string& url) {
  if (!isAcceptableServiceURL(url)) {
    throw CLI::ValidationError(option, "\"" + url +
                                           "\" must be an https:// URL (http:// only for "
                                           "127.0.0.0/8, [::1] and localhost)");
  }
  std::string trimmed = url;
  while (trimmed.ends_with("/"))
    trimmed.pop_back();
  return trimmed;
}

}  // namespace

bool isAcceptableServiceURL(const std::string& url) {
  const auto parsed = parseURL(url);
  if (!parsed) return false;
  if (parsed->scheme == "https") return true;
  return parsed->scheme == "http" && isLoopbackHost(parsed->host);
}

void addGlobalOptions(CLI::App& app, GlobalOptions& options) {
  app.add_option("--api-base", options.apiBase, "the service's API base URL")
      ->envname("PRALODRIVE_API_BASE");
  app.add_option("--web-base", options.webBase, "the web app's base URL")
      ->envname("PRALODRIVE_WEB_BASE");
  app.add_option("--companion", options.companion, "the companion app's loopback base URL")
      ->envname("PRALODRIVE_COMPANION");
  app.add_option("--container", options.container, "the app-group container directory")
      ->envname("PRALODRIVE_CONTAINER");
  app.add_option("--platform-version", options.platformVersion,
                 "the platform version the error mapping tests (X.Y)")
      ->envname("PRALODRIVE_PLATFORM_VERSION");
  app.add_flag("--json", options.json, "machine-readable output, one JSON object per request");
  app.add_flag("--verbose", options.verbose, "mirror the system log to stderr");
}

void applyGlobalOptions(const GlobalOptions& options) {
  auto environment = *fp::Environment::current();
  if (options.apiBase) environment.apiBaseURL = checkedURL("--api-base", *options.apiBase);
  if (options.webBase) environment.webBaseURL = checkedURL("--web-base", *options.webBase);
  if (options.companion) {
    environment.companionBaseURL = checkedURL("--companion", *options.companion);
  }
  if (options.container) environment.appGroupContainer = *options.container;
  environment.platformVersion = fp::PlatformVersion{14, 0, 0};
  if (options.platformVersion) {
    auto version = fp::PlatformVersion::parse(*options.platformVersion);
    if (!version) {
      throw CLI::ValidationError("--platform-version",
                                 "\"" + *options.platformVersion + "\" is not X.Y or X.Y.Z");
    }
    environment.platformVersion = *version;
  }
  fp::SystemLog::setMirrorToStderr(options.verbose);
  fp::Environment::install(std::move(environment));
}

}  // namespace drive::cli
