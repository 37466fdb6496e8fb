#pragma once

#include <chrono>
#include <string>

namespace drive::reference {

// "2026-11-16T20:17:20.250Z": ISO 8601 in UTC with milliseconds, as the service writes times.
std::string formatServiceTime(std::chrono::system_clock::time_point time);

}  // namespace drive::reference
