#pragma once

#include <ostream>

namespace drive::cli {

struct DemoOptions {
  // Leave the service running after the walk, until SIGINT or SIGTERM.
  bool keep = false;
};

// `pralodrive demo`: the provider against an embedded reference service, step by step; the
// exit status (0 when every step answered as expected).
int runDemo(const DemoOptions& options, std::ostream& out);

}  // namespace drive::cli
