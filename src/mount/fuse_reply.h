#pragma once

#include <functional>
#include <string>

#include "mount/fuse_api.h"
#include "platform/reply_once.h"

namespace drive::mount {

// One answer to a kernel request: a call of one of libfuse's fuse_reply_* functions.
using FuseAnswer = std::function<int(fuse_req_t)>;

// Answers a FUSE request exactly once, with the platform's reply guard: a handler that
// returns or throws without answering still answers, with EIO, and is logged.
class FuseReply {
 public:
  FuseReply(fuse_req_t request, std::string what);

  void operator()(FuseAnswer answer) { reply_(std::move(answer)); }
  void error(int error);
  bool replied() const { return reply_.replied(); }
  // The program gave up on its call (a signal reached it while it waited).
  bool interrupted() const { return fuse_req_interrupted(request_) != 0; }

 private:
  fuse_req_t request_;
  fp::ReplyOnce<FuseAnswer> reply_;
};

}  // namespace drive::mount
