#pragma once

#include <optional>
#include <string>

#include "model/wire_models.h"
#include "platform/keychain.h"

namespace drive {

// The signed-in session, shared with the companion app through four stores; this process
// also keeps the last one it saw.

// The first session found in: the user defaults, the session file, then the three keychain
// places (current, older 1, older 2); else the one this process saw last. Never fails.
std::optional<DriveSession> loadSession();

// Writes user defaults, session file and the current keychain place, and clears the older
// places. Throws DriveAPIError::message when neither the keychain nor the file took it.
void saveSession(const DriveSession& session);

// Asks the companion app on its loopback endpoint when no session is stored. Never fails.
std::optional<DriveSession> fetchSessionFromCompanion();

// Building blocks, for the store's own tests and the companion stand-in.
std::optional<DriveSession> readDefaultsSession();
void writeDefaultsSession(const std::string& bytes);
std::filesystem::path sessionFileURL();
bool writeSessionFile(const std::string& bytes);
fp::KeychainQuery sessionKeychainQuery(bool dataProtection, bool accessGroup);
std::optional<DriveSession> readKeychainSession(bool dataProtection, bool accessGroup);

// Forgets the process's copy; for tests, which start each case as a new process would.
void resetCachedSessionForTesting();

}  // namespace drive
