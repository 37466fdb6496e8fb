#include "platform/xpc_transaction.h"

#include <condition_variable>
#include <mutex>

#include "platform/thread_annotations.h"

namespace fp {
namespace {

struct Counter {
  Mutex mutex;
  std::condition_variable zero;
  long count GUARDED_BY(mutex) = 0;
};

Counter& counter() {
  static Counter instance;
  return instance;
}

}  // namespace

void xpc_transaction_begin() {
  auto& transactions = counter();
  MutexLock lock(transactions.mutex);
  ++transactions.count;
}

void xpc_transaction_end() {
  auto& transactions = counter();
  MutexLock lock(transactions.mutex);
  if (transactions.count > 0 && --transactions.count == 0) transactions.zero.notify_all();
}

long xpcTransactionCount() {
  auto& transactions = counter();
  MutexLock lock(transactions.mutex);
  return transactions.count;
}

bool waitForXpcTransactions(std::chrono::milliseconds timeout) {
  auto& transactions = counter();
  MutexLock lock(transactions.mutex);
  return lock.waitFor(transactions.zero, timeout, [&transactions]() REQUIRES(transactions.mutex) {
    return transactions.count == 0;
  });
}

}  // namespace fp
