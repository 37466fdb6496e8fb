#include "app_group/trace_log.h"

#include <fcntl.h>
#include <unistd.h>

#include "platform/app_group_container.h"
#include "platform/environment.h"
#include "platform/iso8601_date_formatter.h"

namespace drive {
namespace {

constexpr std::uintmax_t kRestartAbove = 120000;

}  // namespace

void trace(const std::string& message) {
  const auto now = fp::Environment::current()->clock->now();
  const std::string record = fp::ISO8601DateFormatter::format(fp::Date(now)) + " " + message + "\n";
  fp::createAppGroupContainer();
  const auto path = fp::appGroupContainerURL() / "drive-trace.log";
  std::error_code error;
  const auto size = std::filesystem::file_size(path, error);
  // The one file written in place: an append-only log that a reader tolerates cut short.
  const int flags =
      !error && size > kRestartAbove ? O_WRONLY | O_CREAT | O_TRUNC : O_WRONLY | O_CREAT | O_APPEND;
  const int fd = ::open(path.c_str(), flags | O_CLOEXEC, 0644);
  if (fd < 0) return;
  [[maybe_unused]] const ssize_t written = ::write(fd, record.data(), record.size());
  ::close(fd);
}

}  // namespace drive
