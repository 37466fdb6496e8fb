#include "cli/platform_host.h"

#include "platform/blocking_calls.h"
#include "platform/task_runner.h"
#include "platform/type_registry.h"
#include "platform/xpc_transaction.h"

namespace drive::cli {
namespace {

namespace calls = fp::BlockingCalls;

Outcome finished(Json json, const fp::Error& error, const calls::ProgressSnapshot& progress) {
  Outcome outcome{error ? errorJson(*error) : std::move(json), error ? 1 : 0};
  outcome.json["progress"] = Json::array({progress.completed, progress.total});
  return outcome;
}

Outcome itemOutcome(const calls::ItemReply& reply) {
  Json json;
  if (reply.item) json["item"] = itemJson(*reply.item);
  return finished(std::move(json), reply.error, reply.progress);
}

Json itemsJson(const std::vector<fp::ItemPtr>& items) {
  auto array = Json::array();
  array.get_ref<Json::array_t&>().reserve(items.size());
  for (const auto& item : items)
    array.push_back(itemJson(*item));
  return array;
}

fp::UniformType templateType(const CreateRequest& request) {
  if (request.type) return fp::UniformType(*request.type);
  if (request.folder) return fp::UniformType::folder();
  return fp::TypeRegistry::typeForFilename(request.name).value_or(fp::UniformType::data());
}

// The platform keeps the delivered file; -o gives the person a copy of it.
fp::Error copyDelivered(const fp::URL& delivered, const std::filesystem::path& copyTo) {
  constexpr long kFileWriteUnknown = 512;
  std::error_code error;
  std::filesystem::copy_file(delivered, copyTo, std::filesystem::copy_options::overwrite_existing,
                             error);
  if (!error) return std::nullopt;
  return fp::PlatformError::withDescription(
      fp::NSCocoaErrorDomain, kFileWriteUnknown,
      "Could not copy the file to " + copyTo.string() + ": " + error.message());
}

}  // namespace

void printJSONLine(const Outcome& outcome, std::ostream& out) {
  if (!outcome.items) {
    out << dumpLine(outcome.json) << std::endl;
    return;
  }
  out << "{\"items\":[";
  const char* separator = "";
  for (const auto& item : *outcome.items) {
    out << separator << dumpLine(itemJson(*item));
    separator = ",";
  }
  out << ']';
  for (const auto& [key, value] : outcome.json.items())
    out << ',' << dumpLine(key) << ':' << dumpLine(value);
  out << '}' << std::endl;
}

Outcome usageError(const std::string& description) {
  return {errorJson("usage", 2, description), 2};
}

Outcome PlatformHost::item(const std::string& identifier) {
  return itemOutcome(calls::itemForIdentifier(extension_, identifier));
}

Outcome PlatformHost::list(const std::string& identifier) {
  auto reply = enumerated(identifier, calls::enumerateItems);
  if (reply.error) return {errorJson(*reply.error), 1};
  return {Json::object(), 0, std::move(reply.items)};
}

Outcome PlatformHost::changes(const std::string& identifier, const fp::SyncAnchor& anchor) {
  const auto reply = enumerated(identifier, [&anchor](fp::Enumerator& enumerator) {
    return calls::enumerateChanges(enumerator, anchor);
  });
  if (reply.error) return {errorJson(*reply.error), 1};
  Json json;
  json["deleted"] = reply.deleted;
  json["updated"] = itemsJson(reply.items);
  json["anchor"] = hexString(reply.anchor);
  json["moreComing"] = reply.moreComing;
  return {std::move(json), 0};
}

fp::BlockingCalls::EnumerationReply PlatformHost::enumerated(
    const std::string& identifier,
    const std::function<fp::BlockingCalls::EnumerationReply(fp::Enumerator&)>& enumerate) {
  auto enumerator = enumerating_.enumeratorForContainerItemIdentifier(identifier, {});
  auto reply = enumerate(*enumerator);
  fp::TaskRunner::shared().waitIdle();
  return reply;
}

Outcome PlatformHost::anchor(const std::string& identifier) {
  auto enumerator = enumerating_.enumeratorForContainerItemIdentifier(identifier, {});
  const auto anchor = calls::currentSyncAnchor(*enumerator);
  return {Json{{"anchor", anchor ? Json(hexString(*anchor)) : Json(nullptr)}}, 0};
}

Outcome PlatformHost::fetch(const std::string& identifier,
                            const std::optional<std::string>& version,
                            const std::optional<std::filesystem::path>& copyTo) {
  std::optional<fp::ItemVersion> requested;
  if (version) requested = fp::ItemVersion{fp::Bytes(version->begin(), version->end()), {}};
  const auto reply = calls::fetchContents(extension_, identifier, requested);
  Json json;
  if (reply.url) json["path"] = reply.url->string();
  if (reply.item) json["item"] = itemJson(*reply.item);
  auto error = reply.error;
  if (!error && reply.url && copyTo) error = copyDelivered(*reply.url, *copyTo);
  return finished(std::move(json), error, reply.progress);
}

Outcome PlatformHost::create(const CreateRequest& request) {
  auto itemTemplate =
      std::make_shared<fp::ItemTemplate>("", request.parent, request.name, templateType(request));
  const fp::CreateItemOptions options =
      request.mayExist ? fp::CreateItemOption::mayAlreadyExist : 0;
  return itemOutcome(calls::createItem(extension_, itemTemplate, request.file, options));
}

Outcome PlatformHost::modify(const ModifyRequest& request) {
  auto item =
      std::make_shared<fp::ItemTemplate>(request.identifier, request.parent.value_or(""),
                                         request.name.value_or(""), fp::UniformType::data());
  fp::ItemFields fields = request.extraFields;
  if (request.name) fields |= fp::ItemField::filename;
  if (request.parent) fields |= fp::ItemField::parentItemIdentifier;
  if (request.file) fields |= fp::ItemField::contents;
  return itemOutcome(calls::modifyItem(extension_, item, fields, request.file));
}

Outcome PlatformHost::remove(const std::string& identifier) {
  const auto reply = calls::deleteItem(extension_, identifier);
  return finished(Json::object(), reply.error, reply.progress);
}

Outcome PlatformHost::action(const std::string& action,
                             const std::vector<std::string>& identifiers) {
  const auto reply = calls::performAction(actions_, action, identifiers);
  fp::waitForXpcTransactions(std::chrono::hours(1));
  return finished(Json::object(), reply.error, reply.progress);
}

}  // namespace drive::cli
