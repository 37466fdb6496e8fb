#pragma once

#include <functional>
#include <string>
#include <utility>

#include "platform/platform_error.h"
#include "platform/system_log.h"

namespace fp {

// A completion handler that runs at most once. If it is dropped without a reply (a body
// that forgot, or a task that died), it completes with an error instead, so the platform
// is never left waiting. Move-only, like the request it answers.
template <typename... Args>
class ReplyOnce {
 public:
  using Reply = std::function<void(Args...)>;
  // Completes `reply` with the given error and empty results.
  using Failure = std::function<void(Reply&, const PlatformError&)>;

  ReplyOnce(std::string request, Reply reply, Failure failure)
      : request_(std::move(request)), reply_(std::move(reply)), failure_(std::move(failure)) {}
  ReplyOnce(ReplyOnce&& other) noexcept
      : request_(std::move(other.request_)),
        reply_(std::exchange(other.reply_, nullptr)),
        failure_(std::move(other.failure_)) {}
  ReplyOnce& operator=(ReplyOnce&& other) noexcept {
    if (this != &other) {
      dropUnanswered();
      request_ = std::move(other.request_);
      reply_ = std::exchange(other.reply_, nullptr);
      failure_ = std::move(other.failure_);
    }
    return *this;
  }
  ReplyOnce(const ReplyOnce&) = delete;
  ReplyOnce& operator=(const ReplyOnce&) = delete;
  ~ReplyOnce() { dropUnanswered(); }

  bool replied() const { return !reply_; }

  // A second reply is ignored, and logged: it means a body answered twice.
  void operator()(Args... args) {
    if (auto reply = std::exchange(reply_, nullptr)) {
      reply(std::forward<Args>(args)...);
    } else {
      logAnomaly(" replied twice; the second reply was ignored.");
    }
  }

  void fail(const PlatformError& error) {
    if (auto reply = std::exchange(reply_, nullptr)) {
      failure_(reply, error);
    } else {
      logAnomaly(" replied twice; the second reply was ignored.");
    }
  }

 private:
  void dropUnanswered() {
    if (!reply_) return;
    logAnomaly(" ended without a reply; answered with an error.");
    fail(PlatformError::withDescription(NSCocoaErrorDomain, CocoaErrorCode::fileReadUnknown,
                                        request_ + " ended without a reply."));
  }

  void logAnomaly(const char* what) const {
    Logger("eu.vantrel.drive", "reply").error(request_ + what);
  }

  std::string request_;
  Reply reply_;
  Failure failure_;
};

}  // namespace fp
