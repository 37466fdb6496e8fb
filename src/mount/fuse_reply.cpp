#include "mount/fuse_reply.h"

#include <cerrno>

#include "mount/mount_log.h"

namespace drive::mount {

FuseReply::FuseReply(fuse_req_t request, std::string what)
    : request_(request),
      reply_(
          std::move(what), [request](FuseAnswer answer) { answer(request); },
          [request](auto&, const fp::PlatformError& error) {
            mountLog().error(error.localizedDescription());
            fuse_reply_err(request, EIO);
          }) {}

void FuseReply::error(int error) {
  reply_([error](fuse_req_t request) { return fuse_reply_err(request, error); });
}

}  // namespace drive::mount
