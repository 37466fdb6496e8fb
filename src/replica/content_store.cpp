#include "replica/content_store.h"

#include <cerrno>
#include <fstream>
#include <system_error>

#include "replica/replica_error.h"
#include "replica/transfer_progress.h"

namespace drive::replica {
namespace {

[[noreturn]] void failWith(const std::string& what, const std::error_code& error) {
  const bool full = error == std::errc::no_space_on_device || error.value() == EDQUOT;
  throw ReplicaError(full ? ReplicaError::Kind::diskFull : ReplicaError::Kind::failed,
                     what + ": " + error.message());
}

}  // namespace

ContentStore::ContentStore(std::filesystem::path directory) : directory_(std::move(directory)) {
  std::error_code error;
  // Names left by uploads that a crash interrupted (their changes are still queued), and
  // downloads it cut off or never moved in (fetched again when read).
  for (const auto& left : {stagingDirectory(), arrivalDirectory()}) {
    std::filesystem::remove_all(left, error);
    std::filesystem::create_directories(left, error);
    if (error) break;
  }
  if (error) failWith("Cannot create the content store " + directory_.string(), error);
}

ContentStore::Staged::~Staged() {
  std::error_code error;
  if (!path_.empty()) std::filesystem::remove(path_, error);
}

ContentStore::Staged ContentStore::stage(ItemKey key, std::int64_t sequence) {
  ensure(key);
  auto staged = stagingDirectory() / (std::to_string(key) + "-" + std::to_string(sequence));
  std::error_code error;
  std::filesystem::remove(staged, error);
  std::filesystem::create_hard_link(pathOf(key), staged, error);
  // A file system without hard links costs a copy.
  if (error) std::filesystem::copy_file(pathOf(key), staged, error);
  if (error) failWith("Cannot prepare the upload of " + pathOf(key).string(), error);
  return Staged(std::move(staged));
}

std::filesystem::path ContentStore::pathOf(ItemKey key) const {
  return directory_ / std::to_string(key);
}

void ContentStore::adopt(const std::filesystem::path& delivered, ItemKey key) {
  const auto target = pathOf(key);
  std::error_code error;
  std::filesystem::rename(delivered, target, error);
  if (!error) return;
  // Another file system: copy next to the target first, so the name never shows half a file.
  const auto partial = directory_ / (std::to_string(key) + ".partial");
  std::filesystem::copy_file(delivered, partial, std::filesystem::copy_options::overwrite_existing,
                             error);
  if (!error) std::filesystem::rename(partial, target, error);
  if (error) {
    std::filesystem::remove(partial, error);
    failWith("Cannot keep the downloaded file", error);
  }
  std::filesystem::remove(delivered, error);
}

void ContentStore::transfer(ItemKey from, ItemKey to) {
  std::error_code error;
  std::filesystem::rename(pathOf(from), pathOf(to), error);
  if (error) failWith("Cannot move the local copy", error);
}

void ContentStore::ensure(ItemKey key) {
  const auto path = pathOf(key);
  if (std::filesystem::exists(path)) return;
  std::ofstream created(path, std::ios::binary);
  if (!created) {
    failWith("Cannot create the local copy " + path.string(),
             std::error_code(errno, std::generic_category()));
  }
}

void ContentStore::drop(ItemKey key) {
  std::error_code error;
  std::filesystem::remove(pathOf(key), error);
}

std::int64_t ContentStore::sizeOf(ItemKey key) const {
  std::error_code error;
  const auto size = std::filesystem::file_size(pathOf(key), error);
  return error ? 0 : static_cast<std::int64_t>(size);
}

void ContentStore::checkRoom(const std::string& name, std::int64_t bytes) const {
  std::error_code error;
  const auto space = std::filesystem::space(directory_, error);
  if (error || bytes <= 0 || space.available >= static_cast<std::uintmax_t>(bytes)) return;
  throw ReplicaError(ReplicaError::Kind::diskFull, "There is no room on this disk for a copy of " +
                                                       name + " (" +
                                                       byteText(static_cast<double>(bytes)) + ").");
}

bool ContentStore::has(ItemKey key) const {
  std::error_code error;
  return std::filesystem::exists(pathOf(key), error);
}

}  // namespace drive::replica
