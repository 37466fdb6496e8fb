#pragma once

#include <functional>
#include <ostream>

#include "cli/demo_sandbox.h"

namespace drive::cli {

// The demo drive mounted in a temporary folder and walked through with ordinary commands,
// each printed with what it showed; when `keep` is given, left mounted until it returns
// (the caller's Ctrl-C). False when a step showed something unexpected. Throws
// std::runtime_error when the drive cannot be mounted.
bool runMountDemo(DemoSandbox& sandbox, std::ostream& out, const std::function<void()>& keep);

}  // namespace drive::cli
