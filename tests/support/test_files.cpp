#include "support/test_files.h"

#include <sys/stat.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

namespace drive::test_support {
namespace {

ino_t inodeOf(const std::filesystem::path& path) {
  struct stat info {};
  return ::stat(path.c_str(), &info) == 0 ? info.st_ino : 0;
}

}  // namespace

void writeText(const std::filesystem::path& path, const std::string& text) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}

std::string readText(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream contents;
  contents << in.rdbuf();
  return contents.str();
}

std::filesystem::path builtProgram(const std::string& name) {
  const char* directory = std::getenv("DRIVE_TEST_BIN");
  return (directory ? std::filesystem::path(directory)
                    : std::filesystem::read_symlink("/proc/self/exe").parent_path()) /
         name;
}

// The link lives outside the watched directory so that listings of it stay unchanged.
ReplacementWatch::ReplacementWatch(std::filesystem::path path)
    : path_(std::move(path)),
      link_(path_.parent_path().parent_path() / (path_.filename().string() + ".watched")) {
  std::filesystem::create_hard_link(path_, link_);
}

ReplacementWatch::~ReplacementWatch() {
  std::error_code ignored;
  std::filesystem::remove(link_, ignored);
}

bool ReplacementWatch::replaced() const {
  return inodeOf(path_) != inodeOf(link_);
}

std::string ReplacementWatch::original() const {
  return readText(link_);
}

}  // namespace drive::test_support
