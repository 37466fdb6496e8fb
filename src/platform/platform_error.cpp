#include "platform/platform_error.h"

namespace fp {

PlatformError::PlatformError(std::string_view domain, long code, UserInfo userInfo)
    : domain_(domain), code_(code), userInfo_(std::move(userInfo)) {
  auto found = userInfo_.find(std::string(NSLocalizedDescriptionKey));
  description_ = found != userInfo_.end() ? found->second
                                          : "The operation couldn\u2019t be completed. (" +
                                                domain_ + " error " + std::to_string(code_) + ".)";
}

PlatformError PlatformError::withDescription(std::string_view domain, long code,
                                             const std::string& description) {
  return PlatformError(domain, code, {{std::string(NSLocalizedDescriptionKey), description}});
}

bool PlatformError::operator==(const PlatformError& other) const {
  return domain_ == other.domain_ && code_ == other.code_ && userInfo_ == other.userInfo_;
}

}  // namespace fp
