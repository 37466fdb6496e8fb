#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "cli/item_json.h"
#include "extension/file_provider_extension.h"
#include "platform/blocking_calls.h"

namespace drive::cli {

// The result of one platform request: what to print, and the exit status (0 success,
// 1 failed request, 2 usage error).
struct Outcome {
  Json json;
  int status = 0;
  // A listing's items, printed under "items" one at a time: as one JSON tree, a hundred
  // thousand of them would cost more than the listing itself.
  std::optional<std::vector<fp::ItemPtr>> items = std::nullopt;
};

// The outcome as one line of JSON, flushed: what scripts and `shell` read.
void printJSONLine(const Outcome& outcome, std::ostream& out);

Outcome usageError(const std::string& description);

struct CreateRequest {
  std::string parent;
  std::string name;
  std::optional<std::filesystem::path> file;
  bool folder = false;
  std::optional<std::string> type;
  bool mayExist = false;
};

struct ModifyRequest {
  std::string identifier;
  std::optional<std::string> name;
  std::optional<std::string> parent;
  std::optional<std::filesystem::path> file;
  fp::ItemFields extraFields = 0;
};

// Plays the operating system: each call makes exactly one platform request through the
// extension and waits for its completion.
class PlatformHost {
 public:
  explicit PlatformHost(fp::ReplicatedExtension& extension, fp::Enumerating& enumerating,
                        fp::CustomAction& actions)
      : extension_(extension), enumerating_(enumerating), actions_(actions) {}

  Outcome item(const std::string& identifier);
  Outcome list(const std::string& identifier);
  Outcome changes(const std::string& identifier, const fp::SyncAnchor& anchor);
  Outcome anchor(const std::string& identifier);
  Outcome fetch(const std::string& identifier, const std::optional<std::string>& version,
                const std::optional<std::filesystem::path>& copyTo);
  Outcome create(const CreateRequest& request);
  Outcome modify(const ModifyRequest& request);
  Outcome remove(const std::string& identifier);
  // Waits for the action's follow-up too, as the process's transaction does.
  Outcome action(const std::string& action, const std::vector<std::string>& identifiers);

 private:
  // Also waits for the bookkeeping an enumerator does after its finish call, so that the
  // next request sees it.
  fp::BlockingCalls::EnumerationReply enumerated(
      const std::string& identifier,
      const std::function<fp::BlockingCalls::EnumerationReply(fp::Enumerator&)>& enumerate);

  fp::ReplicatedExtension& extension_;
  fp::Enumerating& enumerating_;
  fp::CustomAction& actions_;
};

}  // namespace drive::cli
