#pragma once

#include <string_view>

namespace drive::mount {

// The errno for a name no entry of the drive can have, or 0: longer than the 255 bytes that
// Linux file systems allow, or, for a new entry, not valid UTF-8, which the service cannot hold,
// or with white space at either end, which the drive cannot show.
int nameError(std::string_view name, bool newEntry);

}  // namespace drive::mount
