#include "session/session_store.h"

#include <gtest/gtest.h>

#include "model/drive_api_error.h"
#include "platform/atomic_file.h"
#include "platform/user_defaults.h"
#include "support/test_environment.h"

namespace drive {
namespace {

DriveSession sessionNamed(const std::string& token) {
  return {token, "id-" + token, token + "@example.com", "2030-01-01T00:00:00Z",
          "2031-01-01T00:00:00Z"};
}

std::string bytesOf(const DriveSession& session) {
  return encodeRecord(session).dump();
}

class SessionStoreTest : public test_support::DriveTest {
 protected:
  void putKeychain(bool dataProtection, bool accessGroup, const DriveSession& session) {
    ASSERT_EQ(fp::SecItemAdd(sessionKeychainQuery(dataProtection, accessGroup), bytesOf(session)),
              fp::errSecSuccess);
  }
  bool keychainHolds(bool dataProtection, bool accessGroup) {
    std::string data;
    return fp::SecItemCopyMatching(sessionKeychainQuery(dataProtection, accessGroup), data) ==
           fp::errSecSuccess;
  }
};

TEST_F(SessionStoreTest, PlacesAreReadInOrder) {
  putKeychain(true, true, sessionNamed("keychain"));
  std::filesystem::create_directories(container());
  ASSERT_TRUE(fp::writeFileAtomically(sessionFileURL(), bytesOf(sessionNamed("file"))));
  writeDefaultsSession(bytesOf(sessionNamed("defaults")));
  EXPECT_EQ(loadSession()->token, "defaults");

  // Garbage in the defaults is skipped, not an error.
  writeDefaultsSession("garbage");
  EXPECT_EQ(loadSession()->token, "file");
  std::filesystem::remove(sessionFileURL());
  EXPECT_EQ(loadSession()->token, "keychain");
  // The current keychain place is copied into the defaults only.
  EXPECT_EQ(readDefaultsSession()->token, "keychain");
  EXPECT_FALSE(std::filesystem::exists(sessionFileURL()));
}

TEST_F(SessionStoreTest, AnOlderKeychainPlaceMigratesToEveryCurrentStore) {
  putKeychain(false, false, sessionNamed("old"));
  putKeychain(false, true, sessionNamed("older-group"));
  EXPECT_EQ(loadSession()->token, "older-group");
  EXPECT_EQ(readDefaultsSession()->token, "older-group");
  EXPECT_TRUE(std::filesystem::exists(sessionFileURL()));
  EXPECT_EQ(readKeychainSession(true, true)->token, "older-group");
  EXPECT_FALSE(keychainHolds(false, true));
  EXPECT_FALSE(keychainHolds(false, false));
}

TEST_F(SessionStoreTest, TheLastSessionSeenOutlivesItsStores) {
  EXPECT_FALSE(loadSession());
  writeDefaultsSession(bytesOf(sessionNamed("seen")));
  EXPECT_EQ(loadSession()->token, "seen");
  fp::UserDefaults::suite("group.eu.vantrel.drive")->removeObjectForKey("drive.session.v1");
  EXPECT_EQ(loadSession()->token, "seen");
}

TEST_F(SessionStoreTest, SaveFailsOnlyWhenNeitherKeychainNorFileTakeIt) {
  saveSession(sessionNamed("saved"));
  EXPECT_EQ(readKeychainSession(true, true)->token, "saved");
  EXPECT_EQ(readDefaultsSession()->token, "saved");

  // A keychain that cannot be written (its directory is a file) still leaves the file.
  const auto keychain = root() / "data" / "pralodrive" / "keychain";
  std::filesystem::remove_all(keychain);
  ASSERT_TRUE(fp::writeFileAtomically(keychain, "in the way"));
  EXPECT_NO_THROW(saveSession(sessionNamed("file-only")));
  EXPECT_EQ(decodeRecord<DriveSession>(*fp::readWholeFile(sessionFileURL())).token, "file-only");
  // With the container unusable as well, the error carries the keychain's status.
  std::filesystem::remove_all(container());
  ASSERT_TRUE(fp::writeFileAtomically(container(), "not a directory"));
  try {
    saveSession(sessionNamed("nowhere"));
    ADD_FAILURE() << "saveSession should fail";
  } catch (const DriveAPIError& error) {
    EXPECT_EQ(error.errorDescription(), "Could not store the sign-in token (-36).");
  }
}

}  // namespace
}  // namespace drive
