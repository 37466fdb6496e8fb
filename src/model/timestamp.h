#pragma once

#include <optional>
#include <string_view>

#include "platform/item.h"

namespace drive {

// A service time stamp: first with fractional seconds, then without; otherwise no date.
std::optional<fp::Date> readTimestamp(std::string_view text);

}  // namespace drive
