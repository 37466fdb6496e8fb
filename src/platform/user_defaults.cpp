#include "platform/user_defaults.h"

#include <simdjson.h>
#include <sys/stat.h>

#include <algorithm>
#include <map>
#include <mutex>

#include "platform/atomic_file.h"
#include "platform/base64.h"
#include "platform/environment.h"
#include "platform/file_lock.h"
#include "platform/json_file.h"
#include "platform/private_directories.h"
#include "platform/thread_annotations.h"

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

// A suite's text as last read, and the values taken from it so far. The suite also holds
// whole listings' identifiers: a request that wants the session converts only that key and
// skips the rest unparsed.
struct SuiteText {
  std::optional<FileStamp> stamp;  // none until read; a missing file has an empty stamp
  simdjson::padded_string text;
  bool wellFormed = false;
  std::map<std::string, std::optional<nlohmann::json>, std::less<>> values;
};

struct ReadSuites {
  Mutex mutex;
  std::map<std::filesystem::path, SuiteText> files GUARDED_BY(mutex);
};

ReadSuites& readSuites() {
  static ReadSuites instance;
  return instance;
}

// The key-at-a-time reader does not check the values it skips, so the whole text is checked
// once per change of the file: a broken file reads as empty, as a whole-file parse has it.
bool isJSONObject(const simdjson::padded_string& text) {
  simdjson::dom::parser parser;
  simdjson::dom::object object;
  return !parser.parse(text).get(object);
}

// The value's JSON text as it stands in the document.
simdjson::error_code rawText(simdjson::ondemand::value& value, std::string_view& raw) {
  simdjson::ondemand::json_type type;
  if (auto error = value.type().get(type)) return error;
  if (type == simdjson::ondemand::json_type::array) {
    simdjson::ondemand::array array;
    if (auto error = value.get_array().get(array)) return error;
    return array.raw_json().get(raw);
  }
  if (type == simdjson::ondemand::json_type::object) {
    simdjson::ondemand::object object;
    if (auto error = value.get_object().get(object)) return error;
    return object.raw_json().get(raw);
  }
  raw = value.raw_json_token();
  return simdjson::SUCCESS;
}

// The value of the last `key` in a well-formed JSON object text.
std::optional<nlohmann::json> findValue(simdjson::padded_string& text, std::string_view key) {
  simdjson::ondemand::parser parser;
  simdjson::ondemand::document document;
  simdjson::ondemand::object object;
  if (parser.iterate(text).get(document) || document.get_object().get(object)) return {};
  std::string_view raw;
  for (auto field : object) {
    std::string_view name;
    if (field.unescaped_key().get(name)) return {};
    if (name != key) continue;  // the next field skips this value unparsed
    simdjson::ondemand::value value;
    if (field.value().get(value) || rawText(value, raw)) return {};
  }
  if (raw.empty()) return {};
  auto value = nlohmann::json::parse(raw, nullptr, false);
  if (value.is_discarded()) return {};
  return value;
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
  // Stamped before reading: a replacement in between costs a second read, never a stale one.
  const auto stamp = stampOf(file_);
  auto& suites = readSuites();
  MutexLock lock(suites.mutex);
  auto& suite = suites.files[file_];
  if (suite.stamp != stamp) {
    suite.stamp = stamp;
    suite.text = simdjson::padded_string(readWholeFile(file_).value_or("{}"));
    suite.wellFormed = isJSONObject(suite.text);
    suite.values.clear();
  }
  if (!suite.wellFormed) return std::nullopt;
  auto found = suite.values.find(key);
  if (found == suite.values.end()) {
    found = suite.values.emplace(key, findValue(suite.text, key)).first;
  }
  return found->second;
}

std::optional<std::vector<std::string>> UserDefaults::stringArrayForKey(
    const std::string& key) const {
  return stringArrayValue(objectForKey(key));
}

std::optional<std::string> UserDefaults::dataForKey(const std::string& key) const {
  const auto value = objectForKey(key);
  if (!value || !value->is_object() || value->size() != 1) return std::nullopt;
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

void UserDefaults::change(const std::function<bool(nlohmann::json&)>& edit) const {
  if (file_.empty()) return;
  createPrivateDirectories(file_.parent_path());
  auto lockFile = file_;
  FileLock lock(lockFile.replace_extension(".lock"));
  // Never from the text read before: a stamp can repeat, and a lost update would be for good.
  auto object = readObject(file_);
  // A listing stores the same identifiers time after time: only a change is written.
  // 0600: it may hold the signed-in session. Setters report nothing, as the platform's do; a
  // failed write leaves the file as it was.
  if (edit(object)) (void)writeJSONFile(file_, object, 0600);
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
