#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/thread_annotations.h"

namespace drive::reference {

// What to do instead of (or before) the normal answer.
struct Fault {
  enum class Kind {
    answer,     // this status and body instead of the real answer
    delay,      // wait, then answer normally
    notJSON,    // 200 with a body that is not JSON
    truncated,  // the real answer, cut off halfway through its body
    dropped,    // the connection closes without any answer
  };
  Kind kind = Kind::answer;
  int status = 500;
  std::string body;
  std::chrono::milliseconds delay{0};

  static Fault answer(int status, std::string body = {});
  // A JSON error body {"message": …}, as the service writes its own refusals.
  static Fault message(int status, std::string_view text);
  static Fault delayed(std::chrono::milliseconds delay);
  static Fault notJSON();
  static Fault truncated();
  static Fault dropped();
};

// Faults waiting for requests: each applies to the next `times` requests whose path matches
// its pattern (fnmatch(3) syntax, "*" also crosses "/") and, when given, whose method matches.
class FaultInjector {
 public:
  void add(std::string pathPattern, Fault fault, int times, std::string method);
  // The fault for this request, used up by the call; none when no fault applies.
  std::optional<Fault> take(std::string_view method, std::string_view path);
  void clear();
  // How many requests the waiting faults will still apply to.
  int pending() const;

  // Waits for `duration` unless the injector is shut down first.
  void sleep(std::chrono::milliseconds duration);
  void shutdown();

 private:
  struct Rule {
    std::string pathPattern;
    std::string method;
    Fault fault;
    int remaining;
  };

  mutable fp::Mutex mutex_;
  std::condition_variable wake_;
  std::vector<Rule> rules_ GUARDED_BY(mutex_);
  bool shutDown_ GUARDED_BY(mutex_) = false;
};

}  // namespace drive::reference
