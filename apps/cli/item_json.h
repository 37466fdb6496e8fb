#pragma once

#include <nlohmann/json.hpp>

#include "platform/item.h"
#include "platform/platform_error.h"

namespace drive::cli {

using Json = nlohmann::ordered_json;

// An item as scripts read it: every property, versions as text, dates in seconds since
// 1970; absent optionals are left out.
Json itemJson(const fp::Item& item);
Json errorJson(const std::string& domain, long code, const std::string& description);
Json errorJson(const fp::PlatformError& error);

std::string hexString(const fp::Bytes& bytes);
// Nullopt when `hex` has an odd length or a character that is not a hex digit.
std::optional<fp::Bytes> bytesFromHex(const std::string& hex);

// One line of JSON; bytes that are not UTF-8 show as U+FFFD instead of failing.
std::string dumpLine(const Json& json);

}  // namespace drive::cli
