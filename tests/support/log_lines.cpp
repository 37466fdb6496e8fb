#include "support/log_lines.h"

namespace drive::test_support {

LogLines::LogLines() {
  fp::SystemLog::setSink([this](fp::LogLevel level, const std::string& line) {
    std::lock_guard lock(mutex_);
    if (level == fp::LogLevel::error) errors_.push_back(line);
  });
}

LogLines::~LogLines() {
  fp::SystemLog::setSink(nullptr);
}

std::vector<std::string> LogLines::errors() const {
  std::lock_guard lock(mutex_);
  return errors_;
}

}  // namespace drive::test_support
