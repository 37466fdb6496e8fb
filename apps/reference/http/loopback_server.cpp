#include "reference/http/loopback_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <vector>

namespace drive::reference {
namespace {

constexpr size_t kKeepAliveRequests = 1'000'000;
// Connections stay open between requests and each holds a thread: enough threads that a few
// slow clients leave room for the others, and limits that free the threads they hold.
constexpr size_t kMinimumThreads = 64;
// A client that sends nothing for this long (a trickled request head, a stalled upload) is
// dropped, as is an idle keep-alive connection; loopback clients never pause that long.
constexpr auto kReadTimeout = std::chrono::seconds(1);
constexpr time_t kIdleKeepAliveSeconds = 1;
// A client that stops reading an answer.
constexpr auto kWriteTimeout = std::chrono::seconds(5);

int portOf(const sockaddr_storage& address) {
  if (address.ss_family != AF_INET) return -1;
  return ntohs(reinterpret_cast<const sockaddr_in&>(address).sin_port);
}

struct Connection {
  int fd;
  int remotePort;
};

// The server does not hand out its connections' descriptors: they are found by their port.
std::vector<Connection> connectionsTo(int localPort) {
  std::vector<Connection> connections;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd", error)) {
    int fd = -1;
    const auto name = entry.path().filename().string();
    if (std::from_chars(name.data(), name.data() + name.size(), fd).ec != std::errc()) continue;
    sockaddr_storage local{}, peer{};
    socklen_t localSize = sizeof local, peerSize = sizeof peer;
    if (::getsockname(fd, reinterpret_cast<sockaddr*>(&local), &localSize) == 0 &&
        ::getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &peerSize) == 0 &&
        portOf(local) == localPort) {
      connections.push_back({fd, portOf(peer)});
    }
  }
  return connections;
}

}  // namespace

LoopbackServer::LoopbackServer() {
  // Without it every keep-alive answer waits ~40 ms for the peer's delayed acknowledgement.
  set_tcp_nodelay(true);
  // The default also sets SO_REUSEPORT, which would let a second server share a busy port.
  set_socket_options([](socket_t sock) {
    const int yes = 1;
    ::setsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  });
  set_keep_alive_max_count(kKeepAliveRequests);
  set_keep_alive_timeout(kIdleKeepAliveSeconds);
  set_read_timeout(kReadTimeout);
  set_write_timeout(kWriteTimeout);
  // A request is under way from routing until its answer is written (when the log is called).
  set_pre_routing_handler([this](const httplib::Request& request, httplib::Response&) {
    fp::MutexLock lock(mutex_);
    busyPorts_.insert(request.remote_port);
    return HandlerResponse::Unhandled;
  });
  set_logger([this](const httplib::Request& request, const httplib::Response&) {
    fp::MutexLock lock(mutex_);
    if (const auto port = busyPorts_.find(request.remote_port); port != busyPorts_.end()) {
      busyPorts_.erase(port);
    }
  });
  new_task_queue = [] {
    return new httplib::ThreadPool(
        std::max<size_t>(kMinimumThreads, std::thread::hardware_concurrency()));
  };
}

LoopbackServer::~LoopbackServer() {
  stopServing();
}

int LoopbackServer::start(int port) {
  const int bound = port == 0 ? bind_to_any_port("127.0.0.1") : port;
  if (bound < 0 || (port != 0 && !bind_to_port("127.0.0.1", port))) return -1;
  // The library listens with a backlog of 5: a burst of connections would have its SYNs
  // dropped and retried a second or more later.
  ::listen(svr_sock_, SOMAXCONN);
  port_ = bound;
  listening_ = true;
  thread_ = std::thread([this] {
    listen_after_bind();
    listening_ = false;
  });
  // stop() only reaches a server that is already running.
  while (listening_ && !is_running())
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  return bound;
}

void LoopbackServer::stopServing() {
  if (!thread_.joinable()) return;
  stop();
  // Idle keep-alive connections would hold their threads until they time out; ending their
  // reading side closes them at once. Busy ones close after their answer.
  for (const auto& connection : connectionsTo(port_)) {
    fp::MutexLock lock(mutex_);
    if (!busyPorts_.contains(connection.remotePort)) ::shutdown(connection.fd, SHUT_RD);
  }
  thread_.join();
}

void LoopbackServer::dropConnection(const httplib::Request& request) {
  for (const auto& connection : connectionsTo(request.local_port)) {
    if (connection.remotePort == request.remote_port) ::shutdown(connection.fd, SHUT_RDWR);
  }
}

}  // namespace drive::reference
