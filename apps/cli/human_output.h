#pragma once

#include <ostream>
#include <string>

#include "cli/platform_host.h"

namespace drive::cli {

// Lays an outcome out for a person: items like a file manager's listing (name, kind, size,
// date, sync mode, badge), errors with their description, domain and code.
void printForPerson(const std::string& command, const Outcome& outcome, std::ostream& out,
                    std::ostream& err);

}  // namespace drive::cli
