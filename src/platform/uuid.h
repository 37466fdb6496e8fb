#pragma once

#include <string>

namespace fp {

// A random (version 4) UUID in its upper-case hyphenated text form, as NSUUID prints it.
std::string makeUUIDString();

}  // namespace fp
