#pragma once

#include <string>

namespace drive {

// Appends one line, "<ISO 8601 time> <message>", to "drive-trace.log" in the container.
// Control characters become blanks and a record past 4 KiB is cut with "…". Past 120000
// bytes the log starts again with this line. Never fails.
void trace(const std::string& message);

}  // namespace drive
