#include "reference/http/service_routes.h"

#include "reference/http/service_error.h"

namespace drive::reference {
namespace {

constexpr const char* kNode = R"(/storage/nodes/([^/]+))";

Caller caller(Exchange& exchange, StorageService& service) {
  return service.authenticate(exchange.request().get_header_value("Authorization"));
}

// A string member of the request body; anything else there is a malformed body.
std::string stringMember(const nlohmann::json& body, const char* key) {
  const auto member = body.find(key);
  if (member == body.end() || !member->is_string()) {
    throw ServiceError::badRequest(std::string("\"") + key + "\" must be a string");
  }
  return member->get<std::string>();
}

// Large child lists are written node by node rather than as one JSON tree.
void sendChildren(Exchange& exchange, const NodeChildren& answer) {
  std::string text = "{";
  if (answer.parent) text += "\"parent\":" + jsonText(encodeRecord(*answer.parent)) + ",";
  text += "\"children\":[";
  for (std::size_t i = 0; i < answer.children.size(); ++i) {
    if (i > 0) text += ',';
    text += jsonText(encodeRecord(answer.children[i]));
  }
  text += "]}";
  exchange.sendText(200, std::move(text), "application/json");
}

void upload(Exchange& exchange, StorageService& service) {
  const Caller who = caller(exchange, service);
  const std::string id = exchange.pathPart(1);
  service.checkUpload(who, id);
  auto writer = service.newBlob();
  const bool stored = exchange.streamBody(
      [&](const char* data, std::size_t size) { return writer->write(data, size); });
  if (!stored) throw ServiceError(500, "The content could not be stored");
  exchange.sendJSON(200, encodeRecord(service.commitUpload(who, id, writer->finish())));
}

void download(Exchange& exchange, StorageService& service) {
  caller(exchange, service);
  auto [node, blob] = service.content(exchange.pathPart(1));
  exchange.sendBlob(std::move(blob), node.mime.value_or("application/octet-stream"));
}

}  // namespace

void addServiceRoutes(RouteTable& routes, StorageService& service) {
  auto& s = service;
  routes.on("POST", "/me/apps/tokens/refresh", [&s](Exchange& exchange) {
    caller(exchange, s);
    exchange.jsonObjectBody();
    const auto authorization = exchange.request().get_header_value("Authorization");
    exchange.sendJSON(200, encodeRecord(s.refresh(authorization)));
  });
  routes.on("GET", "/storage/listing", [&s](Exchange& exchange) {
    caller(exchange, s);
    exchange.sendJSON(200, encodeRecord(s.listing()));
  });
  routes.on("POST", "/storage/nodes", [&s](Exchange& exchange) {
    const Caller who = caller(exchange, s);
    const auto body = exchange.jsonObjectBody();
    const auto node = s.create(who, stringMember(body, "parentId"), stringMember(body, "name"),
                               stringMember(body, "kind"));
    exchange.sendJSON(201, encodeRecord(node));
  });
  routes.on("GET", kNode, [&s](Exchange& exchange) {
    caller(exchange, s);
    exchange.sendJSON(200, encodeRecord(s.node(exchange.pathPart(1))));
  });
  routes.on("PATCH", kNode, [&s](Exchange& exchange) {
    const Caller who = caller(exchange, s);
    const auto name = stringMember(exchange.jsonObjectBody(), "name");
    exchange.sendJSON(200, encodeRecord(s.rename(who, exchange.pathPart(1), name)));
  });
  routes.on("DELETE", kNode, [&s](Exchange& exchange) {
    s.trash(caller(exchange, s), exchange.pathPart(1));
    exchange.sendNoContent();
  });
  routes.on("GET", std::string(kNode) + "/children", [&s](Exchange& exchange) {
    caller(exchange, s);
    sendChildren(exchange, s.children(exchange.pathPart(1)));
  });
  routes.on("POST", std::string(kNode) + "/move", [&s](Exchange& exchange) {
    const Caller who = caller(exchange, s);
    const auto parentId = stringMember(exchange.jsonObjectBody(), "parentId");
    exchange.sendJSON(200, encodeRecord(s.move(who, exchange.pathPart(1), parentId)));
  });
  routes.on("GET", std::string(kNode) + "/content",
            [&s](Exchange& exchange) { download(exchange, s); });
  routes.on("PUT", std::string(kNode) + "/content",
            [&s](Exchange& exchange) { upload(exchange, s); });
  routes.finish();
}

}  // namespace drive::reference
