// Raw bytes on a connection to the reference service, as any client on loopback may send.
// "$TOKEN", "$FILE" and "$FOLDER" in an input stand for a valid token and the ids of a file
// and a folder of the demo drive, which change from run to run.

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "fuzz/fuzz_environment.h"
#include "reference/reference_service.h"

namespace drive::fuzz {
namespace {

struct Service {
  std::unique_ptr<reference::ReferenceService> service;
  std::vector<std::pair<std::string, std::string>> placeholders;
};

Service& service() {
  static Service& running = *new Service;  // serves until the process ends
  return running;
}

void startService() {
  const auto scratch = installScratchEnvironment();
  reference::ReferenceOptions options;
  options.dataDirectory = scratch / "service";
  options.container = scratch / "container";
  auto& running = service();
  running.service = std::make_unique<reference::ReferenceService>(options);
  running.service->start();
  running.service->seedDemo();
  running.placeholders = {
      {"$TOKEN", running.service->issueSession().token},
      {"$FILE", running.service->tree().nodeAt("Alex Morgan/Documents/Notes.md")->id},
      {"$FOLDER", running.service->tree().nodeAt("Alex Morgan/Documents")->id},
  };
}

std::string withPlaceholders(std::string text) {
  for (const auto& [name, value] : service().placeholders) {
    for (auto at = text.find(name); at != std::string::npos; at = text.find(name, at + 1))
      text.replace(at, name.size(), value);
  }
  return text;
}

// Sends the bytes, ends the sending side and reads until the service closes.
void exchange(const std::string& bytes) {
  const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(service().service->port()));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) {
    for (std::size_t sent = 0; sent < bytes.size();) {
      const ssize_t n = ::send(fd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
      if (n <= 0) break;
      sent += static_cast<std::size_t>(n);
    }
    ::shutdown(fd, SHUT_WR);
    char buffer[16384];
    pollfd ready{fd, POLLIN, 0};
    while (::poll(&ready, 1, 10000) > 0 && ::recv(fd, buffer, sizeof buffer, 0) > 0) {
    }
  }
  ::close(fd);
}

}  // namespace
}  // namespace drive::fuzz

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  drive::fuzz::startService();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace drive::fuzz;
  exchange(withPlaceholders(std::string(reinterpret_cast<const char*>(data), size)));
  service().service->clearRequests();  // the log would otherwise grow with every input
  return 0;
}
