#pragma once

#include <set>
#include <string>

namespace drive {

// Name handling shared by every rule that shows, compares or matches names. Unicode-aware:
// trimming uses the white-space-and-newline set, comparison full lower-casing.
std::string trimmedName(const std::string& name);
std::string lowercasedName(const std::string& name);
// Trimmed, then lower-cased: the key two names are compared by.
std::string nameKey(const std::string& name);
// Canonical composition (NFC).
std::string composedName(const std::string& name);

// What Finder shows: trimmed, "/" as ":", no NUL, never empty ("Untitled").
std::string cleanFilename(const std::string& name);

// The name to show among siblings; `used` holds the lower-cased names shown so far.
std::string uniqueFilename(const std::string& name, std::set<std::string>& used);

// "__archive__" and "_archive" folders are never shown or created.
bool isArchiveName(const std::string& name);
// System files that are never synchronised.
bool isIgnoredName(const std::string& name);

}  // namespace drive
