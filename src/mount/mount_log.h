#pragma once

#include "platform/system_log.h"

namespace drive::mount {

// The mount's category of the system log.
inline const fp::Logger& mountLog() {
  static const fp::Logger logger("eu.vantrel.drive", "mount");
  return logger;
}

}  // namespace drive::mount
