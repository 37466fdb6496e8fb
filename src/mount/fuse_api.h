#pragma once

// The one place that picks the libfuse API level: 3.5's low-level interface.
#define FUSE_USE_VERSION 35
#include <fuse_lowlevel.h>
