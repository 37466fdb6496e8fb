#pragma once

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace fp {

// Whether a replacement must survive a crash of the machine, or only be seen whole.
enum class Durability {
  flushed,  // fsync of the file before the rename and of the directory after it
  cached,   // for copies of content kept elsewhere: a crash may lose or truncate them
};

// Replaces `target` whole: a temporary file in the same directory, then a rename. Readers
// never see a half-written file. False on any failure (the target is then untouched).
// Secrets and private content pass mode 0600.
[[nodiscard]] bool writeFileAtomically(const std::filesystem::path& target, std::string_view bytes,
                                       mode_t mode = 0644,
                                       Durability durability = Durability::flushed);

// A fresh hidden file beside `target` (its name in `path`), under an flock held until it is
// closed: a host that cleans up after killed writers leaves it alone. -1 when none can be made.
int createHeldTemporary(const std::filesystem::path& target, std::string& path);

// Removes the hidden partial files that writes of `targetPrefix`… files left in `directory`
// when their writer was killed: those no process holds. Finished files are never touched.
void removeAbandonedPartialFiles(const std::filesystem::path& directory,
                                 std::string_view targetPrefix);

// The whole file, or nullopt when it cannot be read.
std::optional<std::string> readWholeFile(const std::filesystem::path& path);

}  // namespace fp
