#include "reference/http/http_exchange.h"

#include <unistd.h>

#include <iostream>
#include <vector>

#include "model/wire_models.h"
#include "reference/http/loopback_server.h"
#include "reference/http/service_error.h"

namespace drive::reference {
namespace {

constexpr std::size_t kJSONBodyLimit = 1 << 20;
constexpr std::size_t kReadChunk = 256 * 1024;

// Headers the server adds to each request it receives; the client never sent them.
bool addedByServer(const std::string& name) {
  return name == "REMOTE_ADDR" || name == "REMOTE_PORT" || name == "LOCAL_ADDR" ||
         name == "LOCAL_PORT";
}

RecordedRequest recordOf(const httplib::Request& request) {
  RecordedRequest record;
  record.method = request.method;
  record.path = request.path;
  record.target = request.target;
  for (const auto& [name, value] : request.headers) {
    if (!addedByServer(name)) record.headers.emplace_back(name, value);
  }
  record.body = std::string();
  return record;
}

// Writes `body` but stops halfway, so the client sees a short body and a closed connection.
void setTruncated(httplib::Response& response, std::string body, const std::string& type) {
  auto shared = std::make_shared<std::string>(std::move(body));
  response.set_content_provider(shared->size(), type,
                                [shared](size_t offset, size_t, httplib::DataSink& sink) {
                                  const size_t half = shared->size() / 2;
                                  if (offset < half)
                                    sink.write(shared->data() + offset, half - offset);
                                  return false;
                                });
}

// These answers end at their headers; a body there would be read as the next answer on a
// kept-alive connection.
bool forbidsBody(int status) {
  return status < 200 || status == 204 || status == 304;
}

nlohmann::json parseJSON(const std::string& text) {
  auto value = nlohmann::json::parse(text, nullptr, false);
  if (value.is_discarded()) throw ServiceError::badRequest("Body must be JSON");
  return value;
}

}  // namespace

std::string jsonText(const nlohmann::ordered_json& value) {
  return value.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

Exchange::Exchange(const httplib::Request& request, httplib::Response& response,
                   const httplib::ContentReader* reader, RecordedRequest& record)
    : request_(request), response_(response), reader_(reader), record_(record) {}

void Exchange::note(const char* data, std::size_t size) {
  record_.bodySize += size;
  if (record_.body && record_.body->size() + size <= RequestLog::kKeptBodyBytes) {
    record_.body->append(data, size);
  } else {
    record_.body.reset();
  }
}

bool Exchange::read(const std::function<bool(const char*, std::size_t)>& sink) {
  if (bodyRead_) return true;
  bodyRead_ = true;
  bool accepted = true;
  // A refused chunk still reads the rest, so the connection stays in step.
  const auto receive = [&](const char* data, std::size_t size) {
    note(data, size);
    if (accepted) accepted = sink(data, size);
    return true;
  };
  if (reader_ == nullptr) {
    receive(request_.body.data(), request_.body.size());
    return accepted;
  }
  return (*reader_)(receive) && accepted;
}

std::string Exchange::body(std::size_t limit) {
  std::string text;
  const bool fits = read([&](const char* data, std::size_t size) {
    if (text.size() + size > limit) return false;
    text.append(data, size);
    return true;
  });
  if (!fits) throw ServiceError(413, "Request body too large");
  return text;
}

nlohmann::json Exchange::jsonBody() {
  return parseJSON(body(kJSONBodyLimit));
}

nlohmann::json Exchange::jsonObjectBody() {
  const std::string text = body(kJSONBodyLimit);
  if (text.empty()) return nlohmann::json::object();
  auto value = parseJSON(text);
  if (!value.is_object()) throw ServiceError::badRequest("Body must be a JSON object");
  return value;
}

bool Exchange::streamBody(const std::function<bool(const char*, std::size_t)>& sink) {
  return read(sink);
}

void Exchange::drainBody() {
  read([](const char*, std::size_t) { return true; });
}

void Exchange::sendText(int status, std::string text, const std::string& contentType) {
  response_.status = status;
  if (forbidsBody(status)) return;
  if (truncate_) {
    setTruncated(response_, std::move(text), contentType);
  } else {
    response_.set_content(std::move(text), contentType);
  }
}

void Exchange::sendJSON(int status, const nlohmann::ordered_json& value) {
  sendText(status, jsonText(value), "application/json");
}

void Exchange::sendError(int status, std::string_view message) {
  sendJSON(status, encodeRecord(APIErrorBody{std::string(message)}));
}

void Exchange::sendBlob(std::shared_ptr<OpenBlob> blob, const std::string& contentType) {
  response_.status = 200;
  const auto size = static_cast<size_t>(blob ? blob->size() : 0);
  if (size == 0) return response_.set_content("", contentType);
  const size_t end = truncate_ ? size / 2 : size;
  auto buffer = std::make_shared<std::vector<char>>(kReadChunk);
  response_.set_content_provider(
      size, contentType,
      [blob, buffer, end](size_t offset, size_t length, httplib::DataSink& sink) {
        if (offset >= end) return false;
        const size_t wanted = std::min({length, buffer->size(), end - offset});
        const ssize_t got = ::pread(blob->fd(), buffer->data(), wanted, static_cast<off_t>(offset));
        return got > 0 && sink.write(buffer->data(), static_cast<size_t>(got));
      });
}

RouteTable::RouteTable(httplib::Server& server, RequestLog& log, FaultInjector& faults)
    : server_(server), log_(log), faults_(faults) {}

void RouteTable::on(const std::string& method, const std::string& pattern, RouteHandler handler) {
  const auto plain = [this, handler](const httplib::Request& request, httplib::Response& response) {
    serve(request, response, nullptr, handler);
  };
  const auto streamed = [this, handler](const httplib::Request& request,
                                        httplib::Response& response,
                                        const httplib::ContentReader& reader) {
    serve(request, response, &reader, handler);
  };
  // A request with a body goes to the streamed form, one without to the plain one.
  if (method == "GET") {
    server_.Get(pattern, plain);
  } else if (method == "POST") {
    server_.Post(pattern, plain).Post(pattern, streamed);
  } else if (method == "PUT") {
    server_.Put(pattern, plain).Put(pattern, streamed);
  } else if (method == "PATCH") {
    server_.Patch(pattern, plain).Patch(pattern, streamed);
  } else if (method == "DELETE") {
    server_.Delete(pattern, plain).Delete(pattern, streamed);
  }
}

void RouteTable::finish() {
  for (const char* method : {"GET", "POST", "PUT", "PATCH", "DELETE"}) {
    on(method, ".*", [](Exchange&) { throw ServiceError::notFound(); });
  }
}

void RouteTable::serve(const httplib::Request& request, httplib::Response& response,
                       const httplib::ContentReader* reader, const RouteHandler& handler) {
  RecordedRequest record = recordOf(request);
  Exchange exchange(request, response, reader, record);
  const auto fault = faults_.take(request.method, request.path);
  try {
    if (fault) {
      applyFault(*fault, exchange, handler);
    } else {
      handler(exchange);
    }
  } catch (const ServiceError& error) {
    exchange.sendError(error.status(), error.what());
  } catch (const std::exception& error) {
    std::cerr << "pralodrive-reference: " << request.method << " " << request.path << ": "
              << error.what() << "\n";
    exchange.sendError(500, "Internal error");
  }
  exchange.drainBody();
  log_.append(std::move(record));
  if (fault && fault->kind == Fault::Kind::dropped) LoopbackServer::dropConnection(request);
}

void RouteTable::applyFault(const Fault& fault, Exchange& exchange, const RouteHandler& handler) {
  switch (fault.kind) {
    case Fault::Kind::answer:
      exchange.drainBody();
      exchange.sendText(fault.status, fault.body, "application/json");
      break;
    case Fault::Kind::delay:
      faults_.sleep(fault.delay);
      handler(exchange);
      break;
    case Fault::Kind::notJSON:
      exchange.drainBody();
      exchange.sendText(fault.status, fault.body, "text/html");
      break;
    case Fault::Kind::truncated:
      exchange.truncateAnswers();
      handler(exchange);
      break;
    case Fault::Kind::dropped:
      break;
  }
}

}  // namespace drive::reference
