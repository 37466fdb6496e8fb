#include "reference/http/fault_injector.h"

#include <fnmatch.h>

#include <nlohmann/json.hpp>

namespace drive::reference {

Fault Fault::answer(int status, std::string body) {
  return {Kind::answer, status, std::move(body), {}};
}

Fault Fault::message(int status, std::string_view text) {
  return answer(status, nlohmann::json{{"message", text}}.dump());
}

Fault Fault::delayed(std::chrono::milliseconds delay) {
  return {Kind::delay, 0, {}, delay};
}

Fault Fault::notJSON() {
  return {Kind::notJSON, 200, "<html><body>Gateway busy</body></html>", {}};
}

Fault Fault::truncated() {
  return {Kind::truncated, 0, {}, {}};
}

Fault Fault::dropped() {
  return {Kind::dropped, 0, {}, {}};
}

void FaultInjector::add(std::string pathPattern, Fault fault, int times, std::string method) {
  if (times <= 0) return;
  fp::MutexLock lock(mutex_);
  rules_.push_back({std::move(pathPattern), std::move(method), std::move(fault), times});
}

std::optional<Fault> FaultInjector::take(std::string_view method, std::string_view path) {
  const std::string pathText(path);
  fp::MutexLock lock(mutex_);
  for (auto rule = rules_.begin(); rule != rules_.end(); ++rule) {
    if (!rule->method.empty() && rule->method != method) continue;
    if (::fnmatch(rule->pathPattern.c_str(), pathText.c_str(), 0) != 0) continue;
    Fault fault = rule->fault;
    if (--rule->remaining == 0) rules_.erase(rule);
    return fault;
  }
  return std::nullopt;
}

void FaultInjector::clear() {
  fp::MutexLock lock(mutex_);
  rules_.clear();
}

int FaultInjector::pending() const {
  fp::MutexLock lock(mutex_);
  int total = 0;
  for (const auto& rule : rules_)
    total += rule.remaining;
  return total;
}

void FaultInjector::sleep(std::chrono::milliseconds duration) {
  fp::MutexLock lock(mutex_);
  lock.waitFor(wake_, duration, [this]() REQUIRES(mutex_) { return shutDown_; });
}

void FaultInjector::shutdown() {
  {
    fp::MutexLock lock(mutex_);
    shutDown_ = true;
  }
  wake_.notify_all();
}

}  // namespace drive::reference
