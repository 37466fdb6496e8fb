#pragma once

#include <string>

namespace drive {

// How an item is synchronised; drives its user info and metadata version.
enum class SyncMode { myDrive, folder, online, offline, pralo, listing };

// "myDrive", "folder", "online", "offline", "pralo" or "listing".
const std::string& syncModeWord(SyncMode mode);
// The first four modes are writable for the Finder menu rules, whatever the capabilities.
bool isWritableMode(SyncMode mode);

}  // namespace drive
