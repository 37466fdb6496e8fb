#pragma once

#include <string>

namespace drive {

// Appends one line, "<ISO 8601 time> <message>", to "drive-trace.log" in the container.
// Past 120000 bytes the log starts again with this line. Never fails.
void trace(const std::string& message);

}  // namespace drive
