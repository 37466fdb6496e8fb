#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "platform/system_log.h"

namespace drive::test_support {

// The system log's error lines ("[<category>] <message>") while it lives.
class LogLines {
 public:
  LogLines();
  ~LogLines();
  LogLines(const LogLines&) = delete;
  LogLines& operator=(const LogLines&) = delete;

  std::vector<std::string> errors() const;

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> errors_;
};

}  // namespace drive::test_support
