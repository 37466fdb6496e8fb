#include "app_group/sync_activity.h"

#include <algorithm>
#include <chrono>
#include <mutex>

#include "app_group/shared_file.h"
#include "model/drive_item_id.h"
#include "model/name_rules.h"
#include "platform/environment.h"
#include "platform/file_lock.h"
#include "platform/thread_annotations.h"

namespace drive::DriveSyncActivity {
namespace {

constexpr const char* kFile = "drive-sync-activity.json";
constexpr const char* kLockFile = "drive-sync-activity.lock";
constexpr std::size_t kListLimit = 50;
constexpr double kStaleAfterSeconds = 1800;

// Serialises every read-change-write of the file in this process.
fp::Mutex& activityLock() {
  static fp::Mutex lock;
  return lock;
}

double secondsNow() {
  const auto now = fp::Environment::current()->clock->now();
  return std::chrono::duration<double>(now.time_since_epoch()).count();
}

Item makeItem(const std::string& nodeId, const std::string& name, Direction direction, bool ok,
              double at) {
  const char* directionText = direction == Direction::upload ? "upload" : "download";
  return {nodeId, std::string(kNodePrefix) + nodeId, name, directionText, ok, at};
}

void keepLimit(std::vector<Item>& list) {
  if (list.size() > kListLimit) list.resize(kListLimit);
}

void removeActive(File& file, const Item& transfer) {
  std::erase_if(file.active, [&](const Item& entry) {
    return entry.id == transfer.id && entry.direction == transfer.direction;
  });
}

void addToRecent(File& file, Item item) {
  std::erase_if(file.recent, [&](const Item& entry) { return entry.id == item.id; });
  file.recent.insert(file.recent.begin(), std::move(item));
  keepLimit(file.recent);
}

bool hasRecentSince(const File& file, const Item& item) {
  return std::any_of(file.recent.begin(), file.recent.end(),
                     [&](const Item& entry) { return entry.id == item.id && entry.at >= item.at; });
}

// Active entries left behind by a transfer that never ended become failed recent ones.
void expireStale(File& file, double now) {
  const auto isStale = [now](const Item& entry) { return now - entry.at >= kStaleAfterSeconds; };
  std::vector<Item> stale;
  std::copy_if(file.active.begin(), file.active.end(), std::back_inserter(stale), isStale);
  std::erase_if(file.active, isStale);
  for (auto entry = stale.rbegin(); entry != stale.rend(); ++entry) {
    entry->ok = false;
    if (!hasRecentSince(file, *entry)) addToRecent(file, std::move(*entry));
  }
}

template <class Change>
void changeFile(Change change) {
  fp::MutexLock guard(activityLock());
  // Several hosts write the file side by side; a read-change-write must not lose theirs.
  fp::createAppGroupContainer();
  fp::FileLock processes(fp::appGroupContainerURL() / kLockFile);
  auto file = readSharedFile<File>(kFile).value_or(File{});
  change(file, secondsNow());
  // Activity is for display; the next change writes the file whole again.
  (void)writeSharedFile(kFile, file);
}

}  // namespace

std::string displayName(const std::string& name) {
  std::string spaced = name;
  std::replace(spaced.begin(), spaced.end(), '\n', ' ');
  return trimmedName(spaced);
}

void begin(const std::string& nodeId, const std::string& name, Direction direction) {
  changeFile([&](File& file, double now) {
    expireStale(file, now);
    auto started = makeItem(nodeId, name, direction, true, now);
    removeActive(file, started);
    file.active.insert(file.active.begin(), std::move(started));
    keepLimit(file.active);
  });
}

void end(const std::string& nodeId, const std::string& name, Direction direction, bool ok) {
  changeFile([&](File& file, double now) {
    auto ended = makeItem(nodeId, name, direction, ok, now);
    removeActive(file, ended);
    addToRecent(file, std::move(ended));
    expireStale(file, now);
  });
}

void to_json(nlohmann::json& json, const Item& item) {
  json = {{"id", item.id}, {"item", item.item}, {"name", item.name}, {"direction", item.direction},
          {"ok", item.ok}, {"at", item.at}};
}

void from_json(const nlohmann::json& json, Item& item) {
  json.at("id").get_to(item.id);
  json.at("item").get_to(item.item);
  json.at("name").get_to(item.name);
  json.at("direction").get_to(item.direction);
  json.at("ok").get_to(item.ok);
  json.at("at").get_to(item.at);
}

void to_json(nlohmann::json& json, const File& file) {
  json = {{"active", file.active}, {"recent", file.recent}};
}

void from_json(const nlohmann::json& json, File& file) {
  json.at("active").get_to(file.active);
  json.at("recent").get_to(file.recent);
}

}  // namespace drive::DriveSyncActivity
