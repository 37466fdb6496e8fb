#pragma once

#include <stdexcept>
#include <string>

namespace drive::replica {

// Why a replica request failed, in the terms a file system answers with.
class ReplicaError : public std::runtime_error {
 public:
  enum class Kind {
    notFound,     // no such item (ENOENT)
    exists,       // the name is taken in that folder (EEXIST)
    notFolder,    // a folder was expected (ENOTDIR)
    isFolder,     // a file was expected (EISDIR)
    notEmpty,     // a folder that still has children (ENOTEMPTY)
    refused,      // the provider refuses this change (EACCES)
    unsupported,  // not something this drive does (EPERM)
    notYetSent,   // the service does not have the item yet; later it will (EBUSY)
    stale,        // an open file whose contents the service replaced meanwhile (ESTALE)
    diskFull,     // no room left for the database or the local copies (ENOSPC)
    interrupted,  // the caller gave up waiting; what it waited for goes on (EINTR)
    failed,       // the provider or the disk failed; the text says why (EIO)
  };

  ReplicaError(Kind kind, const std::string& message) : std::runtime_error(message), kind_(kind) {}
  Kind kind() const { return kind_; }

 private:
  Kind kind_;
};

}  // namespace drive::replica
