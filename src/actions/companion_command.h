#pragma once

#include <nlohmann/json.hpp>

namespace drive {

// A command posted to the companion app: {"action": …, "identifiers": […]} or {"url": …}.
using CompanionCommand = nlohmann::json;

}  // namespace drive
