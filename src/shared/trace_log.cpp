#include "shared/trace_log.h"

#include <fcntl.h>
#include <unistd.h>

#include <string_view>

#include "platform/environment.h"
#include "platform/iso8601_date_formatter.h"
#include "platform/utf8.h"
#include "shared/app_group_container.h"

namespace drive {
namespace {

constexpr std::uintmax_t kRestartAbove = 120000;
constexpr std::size_t kLongestRecord = 4096;
constexpr std::string_view kEllipsis = "\u2026";

// Names and ids come from users and the service: a line break in one would forge a record.
std::string oneLine(std::string_view text) {
  std::string line;
  line.reserve(text.size());
  for (std::size_t index = 0; index < text.size(); ++index) {
    const auto byte = static_cast<unsigned char>(text[index]);
    const auto rest = text.substr(index);
    if (rest.starts_with("\u2028") || rest.starts_with("\u2029")) {
      line += ' ';
      index += 2;
    } else {
      line += byte < 0x20 || byte == 0x7f ? ' ' : text[index];
    }
  }
  return line;
}

// Cuts `text` to at most `limit` bytes, ellipsis included, never inside a UTF-8 sequence.
void cutTo(std::string& text, std::size_t limit) {
  if (text.size() <= limit) return;
  text.resize(fp::characterStartAtOrBefore(text, limit - kEllipsis.size()));
  text += kEllipsis;
}

}  // namespace

void trace(const std::string& message) {
  const auto now = fp::Environment::current()->clock->now();
  std::string record = fp::ISO8601DateFormatter::format(fp::Date(now)) + " " + oneLine(message);
  cutTo(record, kLongestRecord - 1);
  record += '\n';
  createAppGroupContainer();
  const auto path = appGroupContainerURL() / "drive-trace.log";
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
