#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace drive::reference {

// A user-defaults suite as another process sees it: one JSON object from key to value in a
// file, data values written {"data":"<base64>"}, every change a read-modify-write under an
// flock on the sibling ".lock" file and an atomic replacement.
class DefaultsSuite {
 public:
  explicit DefaultsSuite(std::filesystem::path file);

  // The suite "group.eu.vantrel.drive" in an app-group container.
  static DefaultsSuite appGroup(const std::filesystem::path& container);

  const std::filesystem::path& file() const { return file_; }
  std::filesystem::path lockFile() const;

  bool setData(std::string_view key, std::string_view bytes);
  bool remove(std::string_view key);
  // The bytes of a data value; none when the key is missing or holds something else.
  std::optional<std::string> data(std::string_view key) const;

 private:
  template <typename Change>
  bool change(Change&& apply);

  std::filesystem::path file_;
};

}  // namespace drive::reference
