// bench-service: the reference service with the benchmarks' data, a signed-in session in the
// stores of the environment (HOME, XDG_*, PRALODRIVE_CONTAINER) and, on standard output, what
// the benchmarks need to reach it. Serves until standard input closes or SIGINT/SIGTERM.
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <thread>

#include "bench/bench_tree.h"
#include "reference/reference_service.h"
#include "session/session_store.h"

namespace {

using drive::reference::ReferenceService;

// Taken by sigwait on the main thread; every server thread inherits the mask.
sigset_t blockStopSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  ::signal(SIGPIPE, SIG_IGN);
  return signals;
}

// The script holding our standard input has gone, however it ended.
void stopWhenInputCloses() {
  std::thread([] {
    char byte = 0;
    while (::read(STDIN_FILENO, &byte, 1) > 0) {
    }
    ::kill(::getpid(), SIGTERM);
  }).detach();
}

int serve() {
  const sigset_t stopSignals = blockStopSignals();
  ReferenceService service;
  const auto nodes = drive::bench::buildBenchTree(service);
  service.start();
  const auto session = service.issueSession();
  drive::saveSession(session);
  std::cout << "service " << service.baseURL() << "\n"
            << "companion " << service.companionURL() << "\n"
            << "token " << session.token << "\n";
  for (const auto& [name, id] : nodes)
    std::cout << name << " " << id << "\n";
  std::cout << "ready" << std::endl;
  stopWhenInputCloses();
  int received = 0;
  sigwait(&stopSignals, &received);
  service.stop();
  return 0;
}

}  // namespace

int main() {
  try {
    return serve();
  } catch (const std::exception& error) {
    std::cerr << "bench-service: " << error.what() << "\n";
    return 1;
  }
}
