#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "model/wire_models.h"
#include "reference/store/sqlite_database.h"

namespace drive::reference {

// The one signed-in user of the service.
struct Account {
  std::string userId;
  std::string email;
};

// What the service knows of a token it issued.
struct TokenRecord {
  std::string id;
  std::string app;
  std::chrono::system_clock::time_point expiresAt;
  std::string pairingExpiresAt;
  bool retired = false;
};

// The account, its app tokens and the key that signs them, in SQLite. Callers serialise access.
class IdentityStore {
 public:
  explicit IdentityStore(Database& database);

  Account account();
  void setAccount(const Account& account);

  IssuedAppToken issue(std::string_view app, std::chrono::system_clock::time_point expiresAt,
                       std::string_view pairingExpiresAt);
  std::optional<TokenRecord> find(std::string_view token);
  void retire(std::string_view token);
  // False when the service never issued the token.
  bool setExpiry(std::string_view token, std::chrono::system_clock::time_point expiresAt);

 private:
  std::string setting(std::string_view key);
  void putSetting(std::string_view key, std::string_view value);

  Database& database_;
};

}  // namespace drive::reference
