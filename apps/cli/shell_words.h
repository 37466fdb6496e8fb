#pragma once

#include <optional>
#include <string>
#include <vector>

namespace drive::cli {

// Splits a line into words as a POSIX shell would: blanks separate, single quotes keep
// everything, double quotes keep all but backslash escapes of \ " $ `, a backslash outside
// quotes keeps the next character. Nullopt for an unterminated quote or a trailing backslash.
std::optional<std::vector<std::string>> splitShellWords(const std::string& line);

// The word as a shell line would carry it: as it is when nothing in it is special, else in
// single quotes. splitShellWords gives it back.
std::string shellQuoted(const std::string& word);

}  // namespace drive::cli
