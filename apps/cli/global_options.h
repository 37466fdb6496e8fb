#pragma once

#include <optional>
#include <string>

namespace CLI {
class App;
}

namespace drive::cli {

// Options that come before the command; each also read from its environment variable.
struct GlobalOptions {
  std::optional<std::string> apiBase;
  std::optional<std::string> webBase;
  std::optional<std::string> companion;
  std::optional<std::string> container;
  std::optional<std::string> platformVersion;
  bool json = false;
  bool verbose = false;
};

void addGlobalOptions(CLI::App& app, GlobalOptions& options);

// Validates the options and installs them in the process's environment; throws
// CLI::ValidationError for a URL or version that cannot be used.
void applyGlobalOptions(const GlobalOptions& options);

// http:// is for loopback hosts only (127.0.0.0/8, [::1], localhost); otherwise https://.
bool isAcceptableServiceURL(const std::string& url);

}  // namespace drive::cli
