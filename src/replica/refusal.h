#pragma once

#include "platform/platform_error.h"

namespace drive::replica {

// What a failed request means for the change that made it.
enum class Verdict {
  transient,  // try again later: transport, service trouble, a session to be renewed
  refused,    // final: the provider will not do this
  excluded,   // the provider keeps the item out of sync; local only, not an error
  gone,       // the item is no longer on the service
};

Verdict verdictOf(const fp::PlatformError& error);

}  // namespace drive::replica
