#include "support/raw_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace drive::test_support {

RawServer::RawServer(Serve serve) : serve_(std::move(serve)) {
  listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  if (::bind(listener_, reinterpret_cast<sockaddr*>(&address), size) == 0 &&
      ::listen(listener_, 64) == 0 &&
      ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size) == 0) {
    port_ = ntohs(address.sin_port);
  }
  acceptor_ = std::thread([this] { acceptLoop(); });
}

RawServer::~RawServer() {
  {
    fp::MutexLock lock(mutex_);
    stopping_ = true;
    for (const int fd : connections_)
      ::shutdown(fd, SHUT_RDWR);
  }
  stopped_.notify_all();
  ::shutdown(listener_, SHUT_RDWR);
  acceptor_.join();
  for (auto& thread : threads_)
    thread.join();
  for (const int fd : connections_)
    ::close(fd);
  ::close(listener_);
}

void RawServer::acceptLoop() {
  for (;;) {
    const int fd = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    fp::MutexLock lock(mutex_);
    if (fd < 0 || stopping_) {
      if (fd >= 0) ::close(fd);
      return;
    }
    connections_.push_back(fd);
    threads_.emplace_back([this, fd] { serve_(*this, fd); });
  }
}

std::string RawServer::url(const std::string& path) const {
  return "http://127.0.0.1:" + std::to_string(port_) + path;
}

std::string RawServer::readHead(int fd) {
  std::string head;
  char buffer[4096];
  while (head.find("\r\n\r\n") == std::string::npos) {
    const ssize_t got = ::recv(fd, buffer, sizeof buffer, 0);
    if (got <= 0) break;
    head.append(buffer, static_cast<std::size_t>(got));
  }
  return head;
}

void RawServer::send(int fd, const std::string& bytes) {
  [[maybe_unused]] const ssize_t sent = ::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
}

void RawServer::reset(int fd) {
  const linger abort{1, 0};
  ::setsockopt(fd, SOL_SOCKET, SO_LINGER, &abort, sizeof abort);
  fp::MutexLock lock(mutex_);
  std::erase(connections_, fd);
  ::close(fd);
}

void RawServer::pause(std::chrono::milliseconds duration) {
  fp::MutexLock lock(mutex_);
  lock.waitFor(stopped_, duration, [this]() REQUIRES(mutex_) { return stopping_; });
}

}  // namespace drive::test_support
