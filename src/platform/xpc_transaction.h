#pragma once

#include <chrono>

namespace fp {

// Stand-in for libxpc's transaction counter: a host stays alive while it is above zero.
void xpc_transaction_begin();
void xpc_transaction_end();
long xpcTransactionCount();

// Blocks until the counter is zero or the time is up; true when it reached zero.
bool waitForXpcTransactions(std::chrono::milliseconds timeout);

}  // namespace fp
