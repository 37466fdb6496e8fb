#include "reference/defaults_suite.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "reference/base64.h"
#include "reference/json_file.h"

namespace drive::reference {
namespace {

class FileLock {
 public:
  explicit FileLock(const std::filesystem::path& file)
      : fd_(::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644)) {
    if (fd_ >= 0) ::flock(fd_, LOCK_EX);
  }
  ~FileLock() {
    if (fd_ >= 0) ::close(fd_);
  }
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;

 private:
  int fd_;
};

}  // namespace

DefaultsSuite::DefaultsSuite(std::filesystem::path file) : file_(std::move(file)) {}

DefaultsSuite DefaultsSuite::appGroup(const std::filesystem::path& container) {
  return DefaultsSuite(container / "Library" / "Preferences" / "group.eu.vantrel.drive.json");
}

std::filesystem::path DefaultsSuite::lockFile() const {
  return std::filesystem::path(file_).replace_extension(".lock");
}

template <typename Change>
bool DefaultsSuite::change(Change&& apply) {
  std::error_code ignored;
  std::filesystem::create_directories(file_.parent_path(), ignored);
  FileLock lock(lockFile());
  auto suite = readJSONObject(file_);
  apply(suite);
  return writeJSONFile(file_, suite);
}

bool DefaultsSuite::setData(std::string_view key, std::string_view bytes) {
  return change([&](nlohmann::json& suite) {
    suite[std::string(key)] = {{"data", base64(bytes)}};
  });
}

bool DefaultsSuite::remove(std::string_view key) {
  return change([&](nlohmann::json& suite) { suite.erase(std::string(key)); });
}

std::optional<std::string> DefaultsSuite::data(std::string_view key) const {
  const auto suite = readJSONObject(file_);
  const auto value = suite.find(std::string(key));
  if (value == suite.end() || !value->is_object() || value->size() != 1) return std::nullopt;
  const auto text = value->find("data");
  if (text == value->end() || !text->is_string()) return std::nullopt;
  return decodeBase64(text->get<std::string>());
}

}  // namespace drive::reference
