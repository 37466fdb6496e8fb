#pragma once

#include <optional>
#include <string>

namespace fp {

using OSStatus = int;
inline constexpr OSStatus errSecSuccess = 0;
inline constexpr OSStatus errSecDuplicateItem = -25299;
inline constexpr OSStatus errSecItemNotFound = -25300;
inline constexpr OSStatus errSecIO = -36;

// A generic-password item's address: what a keychain query names.
struct KeychainQuery {
  std::string service;
  std::string account;
  std::optional<std::string> accessGroup;
  bool dataProtection = false;
};

// Stand-in for the keychain: one 0600 file per item in a 0700 directory under the data
// home, named "<service>@<account>@<access group or none>@<dp or legacy>".
OSStatus SecItemCopyMatching(const KeychainQuery& query, std::string& data);
OSStatus SecItemAdd(const KeychainQuery& query, const std::string& data);
OSStatus SecItemDelete(const KeychainQuery& query);

}  // namespace fp
