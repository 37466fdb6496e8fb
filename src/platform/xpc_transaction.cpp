#include "platform/xpc_transaction.h"

#include <condition_variable>
#include <mutex>

namespace fp {
namespace {

struct Counter {
  std::mutex mutex;
  std::condition_variable zero;
  long count = 0;
};

Counter& counter() {
  static Counter instance;
  return instance;
}

}  // namespace

void xpc_transaction_begin() {
  std::lock_guard lock(counter().mutex);
  ++counter().count;
}

void xpc_transaction_end() {
  std::lock_guard lock(counter().mutex);
  if (counter().count > 0 && --counter().count == 0) counter().zero.notify_all();
}

long xpcTransactionCount() {
  std::lock_guard lock(counter().mutex);
  return counter().count;
}

bool waitForXpcTransactions(std::chrono::milliseconds timeout) {
  std::unique_lock lock(counter().mutex);
  return counter().zero.wait_for(lock, timeout, [] { return counter().count == 0; });
}

}  // namespace fp
