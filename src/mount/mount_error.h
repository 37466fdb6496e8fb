#pragma once

#include <stdexcept>

namespace drive::mount {

// A mount that cannot be made or unmade; the text is for the user.
class MountError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace drive::mount
