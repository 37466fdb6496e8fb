#pragma once

#include <functional>
#include <string>

namespace fp {

enum class LogLevel { debug, info, error };

// Stand-in for the unified system log: syslog(3) with ident "eu.vantrel.drive", each message
// prefixed "[<category>] ".
class Logger {
 public:
  Logger(std::string subsystem, std::string category)
      : subsystem_(std::move(subsystem)), category_(std::move(category)) {}

  void log(LogLevel level, const std::string& message) const;
  void info(const std::string& message) const { log(LogLevel::info, message); }
  void error(const std::string& message) const { log(LogLevel::error, message); }
  void debug(const std::string& message) const { log(LogLevel::debug, message); }

  const std::string& category() const { return category_; }

 private:
  std::string subsystem_;
  std::string category_;
};

namespace SystemLog {
// Mirrors every message to stderr (a host's --verbose).
void setMirrorToStderr(bool mirror);
bool mirrorsToStderr();
// Hands every message to `sink` as well ("[<category>] <message>"); tests read the log this way.
using Sink = std::function<void(LogLevel, const std::string& line)>;
void setSink(Sink sink);
}  // namespace SystemLog

}  // namespace fp
