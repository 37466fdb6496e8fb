#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace fp {

// Stand-in for NSUserDefaults: one JSON object from key to value in a file that other
// processes (the companion app) read and write too. A data value is stored as
// {"data":"<base64>"}; strings, numbers, booleans and arrays stand as themselves.
//
// Every read looks at the file, so a change made by another process is seen at once; the
// file's text and the values read from it are kept for as long as its identity, modification
// time and size stay the same.
// Every change is a read-modify-write of the file itself under an exclusive flock on the
// sibling lock file (the file name with ".lock" for ".json") and, unless it leaves every
// value as it was, replaces the file atomically. Missing or malformed files read as empty;
// failed writes are ignored.
class UserDefaults {
 public:
  // The suite kept in the app-group container:
  // <container>/Library/Preferences/<name>.json. None when the platform gives no container.
  static std::optional<UserDefaults> suite(const std::string& name);
  // The same suite in a container of the caller's choosing (the companion app's side).
  static UserDefaults suite(const std::string& name, const std::filesystem::path& container);
  // The process's own defaults: ${XDG_CONFIG_HOME:-$HOME/.config}/pralodrive/defaults.json.
  static UserDefaults standard();

  std::optional<nlohmann::json> objectForKey(const std::string& key) const;
  // None unless the value is an array of strings only.
  std::optional<std::vector<std::string>> stringArrayForKey(const std::string& key) const;
  // None unless the value is a data value.
  std::optional<std::string> dataForKey(const std::string& key) const;

  void setObject(const nlohmann::json& value, const std::string& key) const;
  void setData(std::string_view bytes, const std::string& key) const;
  void removeObjectForKey(const std::string& key) const;

  const std::filesystem::path& file() const { return file_; }

 private:
  explicit UserDefaults(std::filesystem::path file) : file_(std::move(file)) {}
  // `edit` tells whether it changed anything; the file is rewritten only then.
  void change(const std::function<bool(nlohmann::json&)>& edit) const;

  std::filesystem::path file_;
};

// `value` as an array of strings, the way stringArrayForKey answers it.
std::optional<std::vector<std::string>> stringArrayValue(
    const std::optional<nlohmann::json>& value);

}  // namespace fp
