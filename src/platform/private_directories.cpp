#include "platform/private_directories.h"

#include <sys/stat.h>

#include <cerrno>

namespace fp {

bool createPrivateDirectories(const std::filesystem::path& directory) {
  std::error_code error;
  if (directory.empty() || std::filesystem::is_directory(directory, error)) return !error;
  if (directory.has_relative_path() && directory.parent_path() != directory &&
      !createPrivateDirectories(directory.parent_path())) {
    return false;
  }
  // Another process may create it meanwhile: that is as good.
  return ::mkdir(directory.c_str(), 0700) == 0 ||
         (errno == EEXIST && std::filesystem::is_directory(directory, error));
}

}  // namespace fp
