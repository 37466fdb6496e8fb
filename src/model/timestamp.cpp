#include "model/timestamp.h"

#include "platform/iso8601_date_formatter.h"

namespace drive {

std::optional<fp::Date> readTimestamp(std::string_view text) {
  if (auto date = fp::ISO8601DateFormatter::parse(text, true)) return date;
  return fp::ISO8601DateFormatter::parse(text, false);
}

}  // namespace drive
