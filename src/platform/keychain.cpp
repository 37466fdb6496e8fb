#include "platform/keychain.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "platform/environment.h"
#include "platform/private_directories.h"

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
  // An existing folder is made private too: it holds the secrets themselves.
  return createPrivateDirectories(directory) && ::chmod(directory.c_str(), 0700) == 0;
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
  // O_EXCL gives the keychain's duplicate rule; the item appears whole or not at all.
  const auto temporary = path.string() + ".new";
  const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (fd < 0) return errSecIO;
  const bool written =
      ::write(fd, data.data(), data.size()) == ssize_t(data.size()) && ::fsync(fd) == 0;
  ::close(fd);
  if (!written) {
    ::unlink(temporary.c_str());
    return errSecIO;
  }
  if (::link(temporary.c_str(), path.c_str()) != 0) {
    const int reason = errno;
    ::unlink(temporary.c_str());
    return reason == EEXIST ? errSecDuplicateItem : errSecIO;
  }
  ::unlink(temporary.c_str());
  return errSecSuccess;
}

OSStatus SecItemDelete(const KeychainQuery& query) {
  if (::unlink(itemPath(query).c_str()) == 0) return errSecSuccess;
  return errno == ENOENT ? errSecItemNotFound : errSecIO;
}

}  // namespace fp
