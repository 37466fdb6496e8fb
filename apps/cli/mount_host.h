#pragma once

#include <ostream>

#include "cli/mount_commands.h"

namespace drive::cli {

// `pralodrive mount`: the replica and the mount in this process (in the background unless
// --foreground), until the folder is unmounted or the process is told to stop; the exit
// status. Errors found before the mount is up reach the terminal either way.
int runMountHost(const MountCommand& command, std::ostream& out, std::ostream& err);

}  // namespace drive::cli
