#include "platform/system_log.h"

#include <syslog.h>

#include <atomic>
#include <iostream>
#include <mutex>

#include "platform/thread_annotations.h"

namespace fp {
namespace {

std::atomic<bool> mirror{false};
Mutex sinkMutex;
SystemLog::Sink sink GUARDED_BY(sinkMutex);

int syslogPriority(LogLevel level) {
  switch (level) {
    case LogLevel::debug:
      return LOG_DEBUG;
    case LogLevel::info:
      return LOG_INFO;
    case LogLevel::error:
      return LOG_ERR;
  }
  return LOG_INFO;
}

void openSyslogOnce() {
  static std::once_flag opened;
  std::call_once(opened, [] { openlog("eu.vantrel.drive", LOG_PID, LOG_USER); });
}

}  // namespace

void Logger::log(LogLevel level, const std::string& message) const {
  const std::string line = "[" + category_ + "] " + message;
  openSyslogOnce();
  syslog(syslogPriority(level), "%s", line.c_str());
  if (mirror.load()) std::clog << subsystem_ << " " << line << std::endl;
  MutexLock lock(sinkMutex);
  if (sink) sink(level, line);
}

bool SystemLog::mirrorsToStderr() {
  return mirror.load();
}

void SystemLog::setMirrorToStderr(bool enabled) {
  mirror.store(enabled);
}

void SystemLog::setSink(Sink newSink) {
  MutexLock lock(sinkMutex);
  sink = std::move(newSink);
}

}  // namespace fp
