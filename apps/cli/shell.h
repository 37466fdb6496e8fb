#pragma once

#include <iosfwd>

#include "cli/platform_host.h"

namespace drive::cli {

// One command per input line, all in this process so caches and bookkeeping carry over;
// exactly one JSON result line per command, flushed at once. "sleep SECONDS" prints nothing.
int runShell(PlatformHost& host, std::istream& in, std::ostream& out);

}  // namespace drive::cli
