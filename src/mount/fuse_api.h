#pragma once

// The one place that picks the libfuse API level: 3.12's low-level interface, whose loop
// configuration sets a limit of threads.
#define FUSE_USE_VERSION 312
#include <fuse_lowlevel.h>
