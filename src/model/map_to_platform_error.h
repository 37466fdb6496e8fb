#pragma once

#include <exception>
#include <string>

#include "platform/platform_error.h"

namespace drive {

// The one translation of the provider's errors into the platform's domains. Platform errors
// pass unchanged; anything else becomes a generic error with its own text.
fp::PlatformError mapToPlatformError(const std::exception_ptr& error);

// The error's own text before translation, as trace lines record it.
std::string localizedDescriptionOf(const std::exception_ptr& error);

}  // namespace drive
