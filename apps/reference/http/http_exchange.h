#pragma once

#include <httplib.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "reference/http/fault_injector.h"
#include "reference/http/request_log.h"
#include "reference/store/blob_store.h"

namespace drive::reference {

// Compact JSON text; bytes that are not UTF-8 become replacement characters.
std::string jsonText(const nlohmann::ordered_json& value);

// One request as a route handles it: its body read once, in whole or as a stream, and its
// answer written as JSON or streamed from a blob.
class Exchange {
 public:
  Exchange(const httplib::Request& request, httplib::Response& response,
           const httplib::ContentReader* reader, RecordedRequest& record);

  const httplib::Request& request() const { return request_; }
  // The text of the route pattern's group `index`.
  std::string pathPart(int index) const { return request_.matches[index].str(); }

  // The whole body; past `limit` bytes it is read to its end but refused with 413.
  std::string body(std::size_t limit);
  // The body as JSON; anything else is refused with 400.
  nlohmann::json jsonBody();
  // The body as a JSON object; an empty body counts as {}. Anything else is refused with 400.
  nlohmann::json jsonObjectBody();
  // Hands the body to `sink` as it arrives; false when the sink refused part of it.
  bool streamBody(const std::function<bool(const char*, std::size_t)>& sink);
  // Reads whatever is left of the body, so the connection can carry the next request.
  void drainBody();

  void sendJSON(int status, const nlohmann::ordered_json& value);
  void sendText(int status, std::string text, const std::string& contentType);
  void sendError(int status, std::string_view message);
  void sendNoContent() { sendText(204, "", "application/json"); }
  void sendBlob(std::shared_ptr<OpenBlob> blob, const std::string& contentType);
  // From now on the answer's body stops halfway and the connection closes.
  void truncateAnswers() { truncate_ = true; }

 private:
  bool read(const std::function<bool(const char*, std::size_t)>& sink);
  void note(const char* data, std::size_t size);

  const httplib::Request& request_;
  httplib::Response& response_;
  const httplib::ContentReader* reader_;
  RecordedRequest& record_;
  bool bodyRead_ = false;
  bool truncate_ = false;
};

using RouteHandler = std::function<void(Exchange&)>;

// Registers routes so that every request is recorded, may meet an injected fault first, and
// gets a JSON answer even when its handler throws.
class RouteTable {
 public:
  RouteTable(httplib::Server& server, RequestLog& log, FaultInjector& faults);

  // `method` is "GET", "POST", "PUT", "PATCH" or "DELETE"; `pattern` a regular expression.
  void on(const std::string& method, const std::string& pattern, RouteHandler handler);
  // Answers 404 to whatever no route took; call once, after the routes.
  void finish();

 private:
  void serve(const httplib::Request& request, httplib::Response& response,
             const httplib::ContentReader* reader, const RouteHandler& handler);
  void applyFault(const Fault& fault, Exchange& exchange, const RouteHandler& handler);

  httplib::Server& server_;
  RequestLog& log_;
  FaultInjector& faults_;
};

}  // namespace drive::reference
