#include "mount/item_xattrs.h"

#include "mount/action_names.h"

namespace drive::mount {
namespace {

const std::string kPrefix = kXattrPrefix;

std::string joined(const std::vector<std::string>& words) {
  std::string text;
  for (const auto& word : words)
    text += (text.empty() ? "" : ",") + word;
  return text;
}

std::string stateText(const replica::ItemInfo& info) {
  const auto& word = replica::syncStateWord(info.syncState());
  return info.reason.empty() ? word : word + ": " + info.reason;
}

}  // namespace

std::string xattrNames() {
  std::string names;
  for (const char* name : {"id", "state", "badges", "weblink"})
    names += kPrefix + name + '\0';
  return names;
}

std::optional<std::string> xattrValue(replica::Replica& replica, const replica::ItemInfo& info,
                                      const std::string& name) {
  if (!name.starts_with(kPrefix)) return std::nullopt;
  const auto field = name.substr(kPrefix.size());
  if (field == "id") return info.identifier;
  if (field == "state") return stateText(info);
  if (field == "badges") return joined(info.decorations);
  if (field == "weblink") return replica.webLink(info.key);
  return std::nullopt;
}

void performNamedAction(replica::Replica& replica, replica::ItemKey key, const std::string& value) {
  auto name = value;
  while (!name.empty() && (name.back() == '\n' || name.back() == '\0'))
    name.pop_back();
  const auto identifier = actionIdentifier(name);
  if (!identifier) {
    throw replica::ReplicaError(
        replica::ReplicaError::Kind::unsupported,
        "\"" + name + "\" is not an action; use one of " + actionShortNames() + ".");
  }
  if (*identifier == "eu.vantrel.drive.action.offline") {
    replica.keepOffline(key);
  } else if (*identifier == "eu.vantrel.drive.action.online") {
    replica.makeOnline(key);
  } else {
    replica.performAction(key, *identifier);
  }
}

}  // namespace drive::mount
