#pragma once

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace fp {

// Replaces `target` whole: a temporary file in the same directory, fsync, rename, fsync of
// the directory. Readers never see a half-written file. False on any failure (the target
// is then untouched). Secrets and private content pass mode 0600.
bool writeFileAtomically(const std::filesystem::path& target, std::string_view bytes,
                         mode_t mode = 0644);

// The whole file, or nullopt when it cannot be read.
std::optional<std::string> readWholeFile(const std::filesystem::path& path);

}  // namespace fp
