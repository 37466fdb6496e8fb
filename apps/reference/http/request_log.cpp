#include "reference/http/request_log.h"

#include <strings.h>

namespace drive::reference {

std::optional<std::string> RecordedRequest::header(std::string_view name) const {
  for (const auto& [key, value] : headers) {
    if (key.size() == name.size() && ::strncasecmp(key.data(), name.data(), key.size()) == 0) {
      return value;
    }
  }
  return std::nullopt;
}

void RequestLog::append(RecordedRequest request) {
  fp::MutexLock lock(mutex_);
  requests_.push_back(std::move(request));
}

std::vector<RecordedRequest> RequestLog::all() const {
  fp::MutexLock lock(mutex_);
  return requests_;
}

void RequestLog::clear() {
  fp::MutexLock lock(mutex_);
  requests_.clear();
}

}  // namespace drive::reference
