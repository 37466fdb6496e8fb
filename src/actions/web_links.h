#pragma once

#include <string>

namespace drive {

// Where the web app opens an item: the folder itself, or the folder holding a file;
// "<web base>/drive" when there is nothing better.
std::string webLink(const std::string& identifier);
// The web app's version history of the first node the identifier resolves to.
std::string recallLink(const std::string& nodeId);
std::string fallbackLink();

}  // namespace drive
