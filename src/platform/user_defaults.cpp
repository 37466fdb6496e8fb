#include "platform/user_defaults.h"

#include <sys/stat.h>

#include <algorithm>
#include <map>
#include <mutex>

#include "platform/base64.h"
#include "platform/environment.h"
#include "platform/file_lock.h"
#include "platform/json_file.h"

namespace fp {
namespace {

constexpr const char* kDataKey = "data";

std::filesystem::path configHome(const Environment& environment) {
  if (environment.configHome) return *environment.configHome;
  if (environment.homeDirectory.empty()) return {};
  return environment.homeDirectory / ".config";
}

nlohmann::json readObject(const std::filesystem::path& file) {
  auto value = readJSONFile(file);
  if (!value || !value->is_object()) return nlohmann::json::object();
  return std::move(*value);
}

// Which file a path names and when it last changed: an atomic replacement gives a new inode.
struct FileStamp {
  dev_t device = 0;
  ino_t inode = 0;
  std::int64_t seconds = 0;
  std::int64_t nanoseconds = 0;
  off_t size = -1;
  bool operator==(const FileStamp&) const = default;
};

FileStamp stampOf(const std::filesystem::path& file) {
  struct stat info {};
  if (::stat(file.c_str(), &info) != 0) return {};
  return {info.st_dev, info.st_ino, info.st_mtim.tv_sec, info.st_mtim.tv_nsec, info.st_size};
}

// Reading a large suite (a listing's identifiers) once per request would cost more than the
// request itself.
struct ParsedFiles {
  std::mutex mutex;
  std::map<std::filesystem::path, std::pair<FileStamp, std::shared_ptr<const nlohmann::json>>>
      files;
};

ParsedFiles& parsedFiles() {
  static ParsedFiles instance;
  return instance;
}

}  // namespace

std::optional<UserDefaults> UserDefaults::suite(const std::string& name) {
  const auto container = Environment::current()->appGroupContainer;
  if (!container) return std::nullopt;
  return suite(name, *container);
}

UserDefaults UserDefaults::suite(const std::string& name, const std::filesystem::path& container) {
  return UserDefaults(container / "Library" / "Preferences" / (name + ".json"));
}

UserDefaults UserDefaults::standard() {
  const auto home = configHome(*Environment::current());
  return UserDefaults(home.empty() ? home : home / "pralodrive" / "defaults.json");
}

std::optional<nlohmann::json> UserDefaults::objectForKey(const std::string& key) const {
  const auto object = contents();
  const auto found = object->find(key);
  if (found == object->end()) return std::nullopt;
  return *found;
}

std::optional<std::vector<std::string>> UserDefaults::stringArrayForKey(
    const std::string& key) const {
  return stringArrayValue(objectForKey(key));
}

std::optional<std::string> UserDefaults::dataForKey(const std::string& key) const {
  const auto object = contents();  // read in place: the session is looked up on every request
  const auto value = object->find(key);
  if (value == object->end() || !value->is_object() || value->size() != 1) return std::nullopt;
  const auto encoded = value->find(kDataKey);
  if (encoded == value->end() || !encoded->is_string()) return std::nullopt;
  return Base64::decode(encoded->get<std::string>());
}

void UserDefaults::setObject(const nlohmann::json& value, const std::string& key) const {
  change([&](nlohmann::json& object) {
    const auto found = object.find(key);
    // 1 and 1.0 compare equal but are written differently.
    if (found != object.end() && found->type() == value.type() && *found == value) return false;
    object[key] = value;
    return true;
  });
}

void UserDefaults::setData(std::string_view bytes, const std::string& key) const {
  setObject(nlohmann::json{{kDataKey, Base64::encode(bytes)}}, key);
}

void UserDefaults::removeObjectForKey(const std::string& key) const {
  change([&](nlohmann::json& object) { return object.erase(key) > 0; });
}

std::shared_ptr<const nlohmann::json> UserDefaults::contents() const {
  // Stamped before reading: a replacement in between costs a second read, never a stale one.
  const auto stamp = stampOf(file_);
  auto& parsed = parsedFiles();
  {
    std::lock_guard lock(parsed.mutex);
    const auto found = parsed.files.find(file_);
    if (found != parsed.files.end() && found->second.first == stamp) return found->second.second;
  }
  auto object = std::make_shared<const nlohmann::json>(readObject(file_));
  std::lock_guard lock(parsed.mutex);
  parsed.files[file_] = {stamp, object};
  return object;
}

void UserDefaults::change(const std::function<bool(nlohmann::json&)>& edit) const {
  if (file_.empty()) return;
  std::error_code ignored;
  std::filesystem::create_directories(file_.parent_path(), ignored);
  auto lockFile = file_;
  FileLock lock(lockFile.replace_extension(".lock"));
  // Never from the parsed copy: a stamp can repeat, and a lost update would be for good.
  auto object = readObject(file_);
  // A listing stores the same identifiers time after time: only a change is written.
  if (edit(object)) writeJSONFile(file_, object, 0600);  // it may hold the signed-in session
}

std::optional<std::vector<std::string>> stringArrayValue(
    const std::optional<nlohmann::json>& value) {
  if (!value || !value->is_array()) return std::nullopt;
  const bool allStrings = std::all_of(value->begin(), value->end(),
                                      [](const auto& entry) { return entry.is_string(); });
  if (!allStrings) return std::nullopt;
  return value->get<std::vector<std::string>>();
}

}  // namespace fp
