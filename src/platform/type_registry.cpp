#include "platform/type_registry.h"

#include <algorithm>
#include <map>

namespace fp {
namespace {

const std::map<std::string, std::string, std::less<>>& typesByExtension() {
  static const std::map<std::string, std::string, std::less<>> types = {
      {"txt", "public.plain-text"},
      {"text", "public.plain-text"},
      {"md", "net.daringfireball.markdown"},
      {"rtf", "public.rtf"},
      {"csv", "public.comma-separated-values-text"},
      {"json", "public.json"},
      {"xml", "public.xml"},
      {"html", "public.html"},
      {"htm", "public.html"},
      {"pdf", "com.adobe.pdf"},
      {"jpg", "public.jpeg"},
      {"jpeg", "public.jpeg"},
      {"png", "public.png"},
      {"gif", "com.compuserve.gif"},
      {"heic", "public.heic"},
      {"tif", "public.tiff"},
      {"tiff", "public.tiff"},
      {"svg", "public.svg-image"},
      {"mp3", "public.mp3"},
      {"m4a", "com.apple.m4a-audio"},
      {"wav", "com.microsoft.waveform-audio"},
      {"mp4", "public.mpeg-4"},
      {"mov", "com.apple.quicktime-movie"},
      {"zip", "public.zip-archive"},
      {"gz", "org.gnu.gnu-zip-archive"},
      {"tar", "public.tar-archive"},
      {"doc", "com.microsoft.word.doc"},
      {"docx", "org.openxmlformats.wordprocessingml.document"},
      {"xls", "com.microsoft.excel.xls"},
      {"xlsx", "org.openxmlformats.spreadsheetml.sheet"},
      {"ppt", "com.microsoft.powerpoint.ppt"},
      {"pptx", "org.openxmlformats.presentationml.presentation"},
      {"key", "com.apple.keynote.key"},
      {"pages", "com.apple.iwork.pages.sffpages"},
      {"numbers", "com.apple.iwork.numbers.sffnumbers"},
      {"c", "public.c-source"},
      {"h", "public.c-header"},
      {"cpp", "public.c-plus-plus-source"},
      {"py", "public.python-script"},
      {"js", "com.netscape.javascript-source"},
      {"swift", "public.swift-source"},
      {"sh", "public.shell-script"},
      // Declared by the app for its own documents.
      {"vtrscene", "eu.vantrel.drive.vtrscene"},
      {"vtrobj", "eu.vantrel.drive.vtrobj"},
  };
  return types;
}

// The nearest supertype; the chain ends at public.item.
const std::map<std::string, std::string, std::less<>>& parents() {
  static const std::map<std::string, std::string, std::less<>> parent = {
      {"public.folder", "public.directory"},
      {"public.directory", "public.item"},
      {"public.data", "public.item"},
      {"public.text", "public.data"},
      {"public.plain-text", "public.text"},
      {"net.daringfireball.markdown", "public.plain-text"},
      {"public.comma-separated-values-text", "public.text"},
      {"public.json", "public.text"},
      {"public.xml", "public.text"},
      {"public.html", "public.text"},
      {"public.source-code", "public.plain-text"},
      {"public.c-source", "public.source-code"},
      {"public.c-header", "public.source-code"},
      {"public.c-plus-plus-source", "public.source-code"},
      {"public.swift-source", "public.source-code"},
      {"public.script", "public.source-code"},
      {"public.python-script", "public.script"},
      {"public.shell-script", "public.script"},
      {"com.netscape.javascript-source", "public.script"},
      {"public.image", "public.data"},
      {"public.jpeg", "public.image"},
      {"public.png", "public.image"},
      {"com.compuserve.gif", "public.image"},
      {"public.heic", "public.image"},
      {"public.tiff", "public.image"},
      {"public.svg-image", "public.image"},
      {"public.audiovisual-content", "public.data"},
      {"public.audio", "public.audiovisual-content"},
      {"public.mp3", "public.audio"},
      {"com.apple.m4a-audio", "public.audio"},
      {"com.microsoft.waveform-audio", "public.audio"},
      {"public.movie", "public.audiovisual-content"},
      {"public.mpeg-4", "public.movie"},
      {"com.apple.quicktime-movie", "public.movie"},
      {"public.archive", "public.data"},
      {"public.zip-archive", "public.archive"},
      {"org.gnu.gnu-zip-archive", "public.archive"},
      {"public.tar-archive", "public.archive"},
  };
  return parent;
}

std::string lowercased(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return lower;
}

}  // namespace

bool TypeRegistry::conformsTo(const UniformType& type, const UniformType& supertype) {
  std::string current = type.identifier();
  for (int depth = 0; depth < 16; ++depth) {
    if (current == supertype.identifier()) return true;
    auto parent = parents().find(current);
    // Types without a recorded parent are documents: plain data.
    current = parent != parents().end()  ? parent->second
              : current == "public.item" ? std::string()
                                         : std::string("public.data");
    if (current.empty()) return false;
  }
  return false;
}

std::optional<UniformType> TypeRegistry::typeForFilenameExtension(std::string_view extension,
                                                                  const UniformType& supertype) {
  auto found = typesByExtension().find(lowercased(extension));
  if (found == typesByExtension().end()) return std::nullopt;
  UniformType type(found->second);
  if (!conformsTo(type, supertype)) return std::nullopt;
  return type;
}

std::string pathExtension(std::string_view name) {
  const auto slash = name.rfind('/');
  const auto component = slash == std::string_view::npos ? name : name.substr(slash + 1);
  const auto dot = component.rfind('.');
  if (dot == std::string_view::npos || dot == 0 || dot + 1 == component.size()) return {};
  return std::string(component.substr(dot + 1));
}

std::string deletingPathExtension(std::string_view name) {
  const auto extension = pathExtension(name);
  if (extension.empty()) return std::string(name);
  return std::string(name.substr(0, name.size() - extension.size() - 1));
}

std::optional<UniformType> TypeRegistry::typeForFilename(std::string_view filename) {
  const auto extension = pathExtension(filename);
  if (extension.empty()) return std::nullopt;
  return typeForFilenameExtension(extension);
}

std::optional<std::string> TypeRegistry::preferredFilenameExtension(const UniformType& type) {
  static const std::map<std::string, std::string, std::less<>> preferred = [] {
    std::map<std::string, std::string, std::less<>> first;
    for (const auto& [extension, identifier] : typesByExtension()) {
      first.emplace(identifier, extension);
    }
    // Where several extensions share a type, the conventional one.
    first["public.jpeg"] = "jpeg";
    first["public.plain-text"] = "txt";
    first["public.html"] = "html";
    first["public.tiff"] = "tiff";
    return first;
  }();
  auto found = preferred.find(type.identifier());
  if (found == preferred.end()) return std::nullopt;
  return found->second;
}

}  // namespace fp
