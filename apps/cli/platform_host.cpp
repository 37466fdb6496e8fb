#include "platform_host.h"

#include "platform/blocking_calls.h"
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
  for (const auto& item : items)
    array.push_back(itemJson(*item));
  return array;
}

fp::UniformType templateType(const CreateRequest& request) {
  if (request.type) return fp::UniformType(*request.type);
  if (request.folder) return fp::UniformType::folder();
  return fp::TypeRegistry::typeForFilename(request.name).value_or(fp::UniformType::data());
}

}  // namespace

Outcome usageError(const std::string& description) {
  return {errorJson("usage", 2, description), 2};
}

Outcome PlatformHost::item(const std::string& identifier) {
  return itemOutcome(calls::itemForIdentifier(extension_, identifier));
}

Outcome PlatformHost::list(const std::string& identifier) {
  auto enumerator = enumerating_.enumeratorForContainerItemIdentifier(identifier, {});
  const auto reply = calls::enumerateItems(*enumerator);
  if (reply.error) return {errorJson(*reply.error), 1};
  return {Json{{"items", itemsJson(reply.items)}}, 0};
}

Outcome PlatformHost::changes(const std::string& identifier, const fp::SyncAnchor& anchor) {
  auto enumerator = enumerating_.enumeratorForContainerItemIdentifier(identifier, {});
  const auto reply = calls::enumerateChanges(*enumerator, anchor);
  if (reply.error) return {errorJson(*reply.error), 1};
  Json json;
  json["deleted"] = reply.deleted;
  json["updated"] = itemsJson(reply.items);
  json["anchor"] = hexString(reply.anchor);
  json["moreComing"] = reply.moreComing;
  return {std::move(json), 0};
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
  if (!reply.error && reply.url && copyTo) {
    std::error_code copyError;
    std::filesystem::copy_file(*reply.url, *copyTo,
                               std::filesystem::copy_options::overwrite_existing, copyError);
    if (copyError) {
      return {
          errorJson("NSCocoaErrorDomain", 512,
                    "Could not copy the file to " + copyTo->string() + ": " + copyError.message()),
          1};
    }
  }
  return finished(std::move(json), reply.error, reply.progress);
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
