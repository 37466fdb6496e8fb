#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/thread_annotations.h"

namespace drive::reference {

// One request as it arrived.
struct RecordedRequest {
  std::string method;
  std::string path;    // decoded, without the query
  std::string target;  // as sent: path and query, not decoded
  std::vector<std::pair<std::string, std::string>> headers;
  std::uint64_t bodySize = 0;
  // The body, when it is small enough to keep.
  std::optional<std::string> body;

  // The first value of a header, matched without regard to case.
  std::optional<std::string> header(std::string_view name) const;
};

// Every request a server received, in order of completion; safe from many threads.
class RequestLog {
 public:
  // Bodies up to this size are kept whole.
  static constexpr std::size_t kKeptBodyBytes = 64 * 1024;

  void append(RecordedRequest request);
  std::vector<RecordedRequest> all() const;
  void clear();

 private:
  mutable fp::Mutex mutex_;
  std::vector<RecordedRequest> requests_ GUARDED_BY(mutex_);
};

}  // namespace drive::reference
