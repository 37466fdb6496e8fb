#include "platform/keychain.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "platform/environment.h"
#include "platform/scope_exit.h"
#include "platform/uuid.h"

namespace fp {
namespace {

std::filesystem::path keychainDirectory() {
  return Environment::current()->dataHome / "pralodrive" / "keychain";
}

std::filesystem::path itemPath(const KeychainQuery& query) {
  return keychainDirectory() /
         (query.service + "@" + query.account + "@" + query.accessGroup.value_or("none") + "@" +
          (query.dataProtection ? "dp" : "legacy"));
}

bool ensureDirectory() {
  const auto directory = keychainDirectory();
  std::error_code error;
  std::filesystem::create_directories(directory, error);
  return !error && ::chmod(directory.c_str(), 0700) == 0;
}

}  // namespace

OSStatus SecItemCopyMatching(const KeychainQuery& query, std::string& data) {
  std::ifstream in(itemPath(query), std::ios::binary);
  if (!in) return errSecItemNotFound;
  std::ostringstream contents;
  contents << in.rdbuf();
  if (in.bad()) return errSecIO;
  data = std::move(contents).str();
  return errSecSuccess;
}

OSStatus SecItemAdd(const KeychainQuery& query, const std::string& data) {
  if (!ensureDirectory()) return errSecIO;
  const auto path = itemPath(query);
  // link(2) gives the keychain's duplicate rule; the item appears whole or not at all. The
  // temporary name is this add's own, so a concurrent add never writes into it.
  const auto temporary = path.string() + "." + makeUUIDString() + ".new";
  const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (fd < 0) return errSecIO;
  const ScopeExit removeTemporary([&] { ::unlink(temporary.c_str()); });
  const bool written =
      ::write(fd, data.data(), data.size()) == ssize_t(data.size()) && ::fsync(fd) == 0;
  ::close(fd);
  if (!written) return errSecIO;
  if (::link(temporary.c_str(), path.c_str()) == 0) return errSecSuccess;
  return errno == EEXIST ? errSecDuplicateItem : errSecIO;
}

OSStatus SecItemDelete(const KeychainQuery& query) {
  if (::unlink(itemPath(query).c_str()) == 0) return errSecSuccess;
  return errno == ENOENT ? errSecItemNotFound : errSecIO;
}

}  // namespace fp
