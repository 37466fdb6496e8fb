#pragma once

#include <chrono>
#include <functional>
#include <future>

namespace fp {

// Waits for `future` for as long as its caller still wants it, asking `abandoned` now and then:
// true once the future is ready, false once the caller gave up.
template <class Future>
bool waitUnlessAbandoned(const Future& future, const std::function<bool()>& abandoned) {
  while (future.wait_for(std::chrono::milliseconds(100)) != std::future_status::ready) {
    if (abandoned && abandoned()) return false;
  }
  return true;
}

}  // namespace fp
