#include "session/session_store.h"

#include <mutex>

#include "model/drive_api_error.h"
#include "platform/app_group_container.h"
#include "platform/atomic_file.h"
#include "platform/environment.h"
#include "platform/thread_annotations.h"
#include "platform/url_session.h"
#include "platform/user_defaults.h"

namespace drive {
namespace {

constexpr const char* kDefaultsKey = "drive.session.v1";
constexpr const char* kKeychainService = "eu.vantrel.drive.session";
constexpr const char* kKeychainAccount = "session";
constexpr const char* kAccessGroup = "4K9Q2ZP7XM.group.eu.vantrel.drive";
constexpr auto kCompanionTimeout = std::chrono::seconds(3);

fp::Mutex sessionLock;
std::optional<DriveSession> cachedSession GUARDED_BY(sessionLock);

std::optional<DriveSession> decodeSession(const std::optional<std::string>& bytes) {
  if (!bytes) return std::nullopt;
  try {
    return decodeRecord<DriveSession>(*bytes);
  } catch (const WireDecodingError&) {
    return std::nullopt;
  }
}

std::string encodeSession(const DriveSession& session) {
  return encodeRecord(session).dump();
}

DriveSession remember(DriveSession session) {
  fp::MutexLock lock(sessionLock);
  cachedSession = session;
  return session;
}

}  // namespace

std::optional<DriveSession> readDefaultsSession() {
  return decodeSession(fp::appGroupDefaults().dataForKey(kDefaultsKey));
}

void writeDefaultsSession(const std::string& bytes) {
  fp::appGroupDefaults().setData(bytes, kDefaultsKey);
}

std::filesystem::path sessionFileURL() {
  return fp::appGroupContainerURL() / "session.json";
}

bool writeSessionFile(const std::string& bytes) {
  std::error_code error;
  std::filesystem::create_directories(sessionFileURL().parent_path(), error);
  return !error && fp::writeFileAtomically(sessionFileURL(), bytes, 0600);
}

fp::KeychainQuery sessionKeychainQuery(bool dataProtection, bool accessGroup) {
  fp::KeychainQuery query;
  query.service = kKeychainService;
  query.account = kKeychainAccount;
  if (accessGroup) query.accessGroup = kAccessGroup;
  query.dataProtection = dataProtection;
  return query;
}

std::optional<DriveSession> readKeychainSession(bool dataProtection, bool accessGroup) {
  std::string data;
  if (fp::SecItemCopyMatching(sessionKeychainQuery(dataProtection, accessGroup), data) !=
      fp::errSecSuccess) {
    return std::nullopt;
  }
  return decodeSession(data);
}

std::optional<DriveSession> loadSession() {
  if (auto session = readDefaultsSession()) return remember(*session);
  if (auto session = decodeSession(fp::readWholeFile(sessionFileURL()))) return remember(*session);
  if (auto session = readKeychainSession(true, true)) {
    writeDefaultsSession(encodeSession(*session));
    return remember(*session);
  }
  for (bool accessGroup : {true, false}) {
    if (auto session = readKeychainSession(false, accessGroup)) {
      try {
        saveSession(*session);  // moves it to the current places
      } catch (const DriveAPIError&) {
      }
      return remember(*session);
    }
  }
  fp::MutexLock lock(sessionLock);
  return cachedSession;
}

void saveSession(const DriveSession& session) {
  const auto bytes = encodeSession(session);
  writeDefaultsSession(bytes);
  const bool fileWritten = writeSessionFile(bytes);
  const auto current = sessionKeychainQuery(true, true);
  fp::SecItemDelete(current);
  const auto added = fp::SecItemAdd(current, bytes);
  fp::SecItemDelete(sessionKeychainQuery(false, true));
  fp::SecItemDelete(sessionKeychainQuery(false, false));
  if (added != fp::errSecSuccess && !fileWritten) {
    throw DriveAPIError::message("Could not store the sign-in token (" + std::to_string(added) +
                                 ").");
  }
}

std::optional<DriveSession> fetchSessionFromCompanion() {
  if (auto session = loadSession()) return session;
  fp::URLRequest request;
  request.url = fp::Environment::current()->companionBaseURL + "/session";
  request.timeout = kCompanionTimeout;
  fp::URLResponse answer;
  try {
    answer = fp::URLSession::shared().send(request);
  } catch (const std::exception&) {
    return std::nullopt;
  }
  if (answer.response.statusCode != 200) return std::nullopt;
  auto session = decodeSession(answer.body);
  if (!session) return std::nullopt;
  writeDefaultsSession(encodeSession(*session));
  writeSessionFile(encodeSession(*session));
  return remember(*session);
}

void resetCachedSessionForTesting() {
  fp::MutexLock lock(sessionLock);
  cachedSession.reset();
}

}  // namespace drive
