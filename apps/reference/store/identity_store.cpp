#include "reference/store/identity_store.h"

#include "reference/store/app_token.h"
#include "reference/store/random_id.h"
#include "reference/store/service_time.h"

namespace drive::reference {
namespace {

constexpr std::string_view kSchema = R"(
CREATE TABLE IF NOT EXISTS settings(key TEXT PRIMARY KEY, value TEXT NOT NULL);
CREATE TABLE IF NOT EXISTS tokens(
  token TEXT PRIMARY KEY, id TEXT NOT NULL UNIQUE, app TEXT NOT NULL,
  expires_at_ms INTEGER NOT NULL, pairing_expires_at TEXT NOT NULL,
  retired INTEGER NOT NULL DEFAULT 0);
)";

using Clock = std::chrono::system_clock;

std::int64_t toMillis(Clock::time_point time) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
}

Clock::time_point fromMillis(std::int64_t millis) {
  return Clock::time_point(std::chrono::milliseconds(millis));
}

}  // namespace

IdentityStore::IdentityStore(Database& database) : database_(database) {
  database_.execute(kSchema);
  if (setting("signingKey").empty()) putSetting("signingKey", randomId("", 32));
}

Account IdentityStore::account() {
  return {setting("userId"), setting("email")};
}

void IdentityStore::setAccount(const Account& account) {
  putSetting("userId", account.userId);
  putSetting("email", account.email);
}

IssuedAppToken IdentityStore::issue(std::string_view app, Clock::time_point expiresAt,
                                    std::string_view pairingExpiresAt) {
  const auto user = account();
  const std::string id = randomId("tok_");
  const nlohmann::json claims = {{"sub", user.userId},
                                 {"email", user.email},
                                 {"app", app},
                                 {"jti", id},
                                 {"exp", toMillis(expiresAt) / 1000}};
  IssuedAppToken issued{mintAppToken(claims, setting("signingKey")), std::string(app), id,
                        formatServiceTime(expiresAt), std::string(pairingExpiresAt)};
  database_
      .prepare(
          "INSERT INTO tokens(token, id, app, expires_at_ms, pairing_expires_at) "
          "VALUES(?1, ?2, ?3, ?4, ?5)")
      .bind(1, issued.token)
      .bind(2, issued.id)
      .bind(3, issued.app)
      .bind(4, toMillis(expiresAt))
      .bind(5, pairingExpiresAt)
      .run();
  return issued;
}

std::optional<TokenRecord> IdentityStore::find(std::string_view token) {
  auto statement = database_.prepare(
      "SELECT id, app, expires_at_ms, pairing_expires_at, retired FROM tokens WHERE token = ?1");
  statement.bind(1, token);
  if (!statement.step()) return std::nullopt;
  return TokenRecord{statement.text(0), statement.text(1), fromMillis(statement.integer(2)),
                     statement.text(3), statement.integer(4) != 0};
}

void IdentityStore::retire(std::string_view token) {
  database_.prepare("UPDATE tokens SET retired = 1 WHERE token = ?1").bind(1, token).run();
}

bool IdentityStore::setExpiry(std::string_view token, Clock::time_point expiresAt) {
  database_.prepare("UPDATE tokens SET expires_at_ms = ?2 WHERE token = ?1")
      .bind(1, token)
      .bind(2, toMillis(expiresAt))
      .run();
  return database_.changes() > 0;
}

std::string IdentityStore::setting(std::string_view key) {
  auto statement = database_.prepare("SELECT value FROM settings WHERE key = ?1");
  statement.bind(1, key);
  return statement.step() ? statement.text(0) : std::string();
}

void IdentityStore::putSetting(std::string_view key, std::string_view value) {
  database_
      .prepare(
          "INSERT INTO settings(key, value) VALUES(?1, ?2) ON CONFLICT(key) DO UPDATE SET value=?2")
      .bind(1, key)
      .bind(2, value)
      .run();
}

}  // namespace drive::reference
