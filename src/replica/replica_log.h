#pragma once

#include "platform/system_log.h"

namespace drive::replica {

// The replica's category of the system log.
inline const fp::Logger& replicaLog() {
  static const fp::Logger logger("eu.vantrel.drive", "replica");
  return logger;
}

}  // namespace drive::replica
