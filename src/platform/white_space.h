#pragma once

#include <string>

namespace fp {

// NSString's trimming with NSCharacterSet.whitespaceAndNewlineCharacterSet: the Z* categories,
// tab through carriage return, and NEL, at both ends. Bytes that are not valid UTF-8 are left
// as they are.
std::string trimmingWhiteSpaceAndNewlines(const std::string& text);

}  // namespace fp
