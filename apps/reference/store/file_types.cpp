#include "reference/store/file_types.h"

#include <algorithm>
#include <array>
#include <utility>

#include "model/node_kinds.h"

namespace drive::reference {
namespace {

constexpr std::array<std::pair<std::string_view, std::string_view>, 22> kMimeTypes = {{
    {"pdf", "application/pdf"},
    {"txt", "text/plain"},
    {"md", "text/markdown"},
    {"csv", "text/csv"},
    {"json", "application/json"},
    {"html", "text/html"},
    {"png", "image/png"},
    {"jpg", "image/jpeg"},
    {"jpeg", "image/jpeg"},
    {"gif", "image/gif"},
    {"svg", "image/svg+xml"},
    {"mp4", "video/mp4"},
    {"mov", "video/quicktime"},
    {"mp3", "audio/mpeg"},
    {"zip", "application/zip"},
    {"docx", "application/vnd.openxmlformats-officedocument.wordprocessingml.document"},
    {"xlsx", "application/vnd.openxmlformats-officedocument.spreadsheetml.sheet"},
    {"pptx", "application/vnd.openxmlformats-officedocument.presentationml.presentation"},
    {"key", "application/vnd.apple.keynote"},
    {"glb", "model/gltf-binary"},
    {Pralo::sceneExtension, "application/vnd.vantrel.pralo.scene"},
    {Pralo::objectExtension, "application/vnd.vantrel.pralo.object"},
}};

std::string lowerAscii(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return lower;
}

}  // namespace

FileType fileTypeOf(std::string_view name) {
  FileType type{std::nullopt, "application/octet-stream", "none", false};
  const auto dot = name.rfind('.');
  if (dot == std::string_view::npos || dot == 0 || dot + 1 == name.size()) return type;
  const std::string extension = lowerAscii(name.substr(dot + 1));
  type.fileExtension = extension;
  for (const auto& [known, mime] : kMimeTypes) {
    if (known == extension) type.mime = mime;
  }
  if (extension == Pralo::sceneExtension) type.appKind = Pralo::sceneAppKind;
  if (extension == Pralo::objectExtension) type.appKind = Pralo::objectAppKind;
  type.cloudOnly = type.appKind != "none";
  return type;
}

void describeFile(StorageNode& node) {
  if (isContainerNode(node)) return;
  const FileType type = fileTypeOf(node.name);
  node.fileExtension = type.fileExtension;
  node.mime = type.mime;
  node.appKind = type.appKind;
  node.cloudOnly = type.cloudOnly;
}

}  // namespace drive::reference
