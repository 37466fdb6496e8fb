#pragma once

#include <filesystem>
#include <string>

namespace drive::test_support {

// Writes a file in place, as a test or a careless companion app would; creates its directory.
void writeText(const std::filesystem::path& path, const std::string& text);
// The file's bytes; empty when it cannot be read.
std::string readText(const std::filesystem::path& path);

// A program of this build: in DRIVE_TEST_BIN under ctest, else beside the running test.
std::filesystem::path builtProgram(const std::string& name);

// Keeps a hard link to a file's current inode, so a test can tell whether the file was
// replaced (a new inode under the name) or changed in place (the old inode's bytes differ).
class ReplacementWatch {
 public:
  explicit ReplacementWatch(std::filesystem::path path);
  ~ReplacementWatch();
  ReplacementWatch(const ReplacementWatch&) = delete;
  ReplacementWatch& operator=(const ReplacementWatch&) = delete;

  bool replaced() const;
  // The bytes of the inode that was under the name when watching began.
  std::string original() const;

 private:
  std::filesystem::path path_;
  std::filesystem::path link_;
};

}  // namespace drive::test_support
