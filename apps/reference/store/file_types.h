#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "model/wire_models.h"

namespace drive::reference {

// What the service derives from a file's name when the file is created or renamed.
struct FileType {
  std::optional<std::string> fileExtension;
  std::string mime;
  std::string appKind;  // "none" for ordinary files, the PRALO kind for PRALO documents
  bool cloudOnly = false;
};

FileType fileTypeOf(std::string_view name);

// Sets a file node's extension, type and PRALO kind from its name; containers stay as they are.
void describeFile(StorageNode& node);

}  // namespace drive::reference
