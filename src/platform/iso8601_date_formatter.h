#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/item.h"

namespace fp {

// Stand-in for NSISO8601DateFormatter with the internet date-time options: full date with
// dashes, "T", full time with colons, and a time zone ("Z" or "+hh:mm").
namespace ISO8601DateFormatter {
// With fractionalSeconds the fraction is required, without it forbidden, as on the Mac.
// Fractions count to the millisecond, like the platform's formatter.
std::optional<Date> parse(std::string_view text, bool fractionalSeconds);
// The default options: "2026-11-16T20:17:20Z", whole seconds, UTC.
std::string format(Date date);
}  // namespace ISO8601DateFormatter

}  // namespace fp
