#include "platform/iso8601_date_formatter.h"

#include <chrono>
#include <cstdio>

namespace fp {
namespace {

// Reads exactly `digits` decimal digits at `pos`.
std::optional<int> readDigits(std::string_view text, std::size_t& pos, std::size_t digits) {
  if (pos + digits > text.size()) return std::nullopt;
  int value = 0;
  for (std::size_t index = 0; index < digits; ++index) {
    const char c = text[pos + index];
    if (c < '0' || c > '9') return std::nullopt;
    value = value * 10 + (c - '0');
  }
  pos += digits;
  return value;
}

bool expect(std::string_view text, std::size_t& pos, char c) {
  if (pos >= text.size() || text[pos] != c) return false;
  ++pos;
  return true;
}

// The fraction's value in seconds, truncated to milliseconds; nullopt without digits.
std::optional<double> readFraction(std::string_view text, std::size_t& pos) {
  const std::size_t start = pos;
  int millis = 0;
  while (pos < text.size() && text[pos] >= '0' && text[pos] <= '9') {
    if (pos - start < 3) millis = millis * 10 + (text[pos] - '0');
    ++pos;
  }
  const std::size_t count = pos - start;
  if (count == 0) return std::nullopt;
  for (std::size_t padding = count; padding < 3; ++padding)
    millis *= 10;
  return millis / 1000.0;
}

// Offset east of UTC in seconds.
std::optional<int> readZone(std::string_view text, std::size_t& pos) {
  if (expect(text, pos, 'Z')) return 0;
  if (pos >= text.size() || (text[pos] != '+' && text[pos] != '-')) return std::nullopt;
  const int sign = text[pos++] == '-' ? -1 : 1;
  auto hours = readDigits(text, pos, 2);
  if (!hours || !expect(text, pos, ':')) return std::nullopt;
  auto minutes = readDigits(text, pos, 2);
  if (!minutes || *hours > 23 || *minutes > 59) return std::nullopt;
  return sign * (*hours * 3600 + *minutes * 60);
}

}  // namespace

std::optional<Date> ISO8601DateFormatter::parse(std::string_view text, bool fractionalSeconds) {
  std::size_t pos = 0;
  auto year = readDigits(text, pos, 4);
  if (!year || !expect(text, pos, '-')) return std::nullopt;
  auto month = readDigits(text, pos, 2);
  if (!month || !expect(text, pos, '-')) return std::nullopt;
  auto day = readDigits(text, pos, 2);
  if (!day || !expect(text, pos, 'T')) return std::nullopt;
  auto hour = readDigits(text, pos, 2);
  if (!hour || !expect(text, pos, ':')) return std::nullopt;
  auto minute = readDigits(text, pos, 2);
  if (!minute || !expect(text, pos, ':')) return std::nullopt;
  auto second = readDigits(text, pos, 2);
  if (!second) return std::nullopt;
  double fraction = 0;
  if (fractionalSeconds) {
    if (!expect(text, pos, '.')) return std::nullopt;
    auto value = readFraction(text, pos);
    if (!value) return std::nullopt;
    fraction = *value;
  }
  auto zone = readZone(text, pos);
  if (!zone || pos != text.size()) return std::nullopt;

  using namespace std::chrono;
  const year_month_day date{std::chrono::year(*year), std::chrono::month(*month),
                            std::chrono::day(*day)};
  if (!date.ok() || *hour > 23 || *minute > 59 || *second > 59) return std::nullopt;
  const auto wholeSeconds = sys_days(date).time_since_epoch() + hours(*hour) + minutes(*minute) +
                            seconds(*second) - seconds(*zone);
  return Date(duration<double>(duration_cast<seconds>(wholeSeconds).count() + fraction));
}

std::string ISO8601DateFormatter::format(Date date) {
  using namespace std::chrono;
  const auto whole = sys_seconds(duration_cast<seconds>(floor<seconds>(date.time_since_epoch())));
  const auto days = floor<std::chrono::days>(whole);
  const year_month_day ymd(days);
  const hh_mm_ss time(whole - days);
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%04d-%02u-%02uT%02d:%02d:%02dZ", int(ymd.year()),
                unsigned(ymd.month()), unsigned(ymd.day()), int(time.hours().count()),
                int(time.minutes().count()), int(time.seconds().count()));
  return buffer;
}

}  // namespace fp
