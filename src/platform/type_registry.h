#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/uniform_type.h"

namespace fp {

// Stand-in for the platform's type registry: a built-in table of common file-name
// extensions, plus the two document types the app declares. Unknown extensions have no type.
// The extension of a name's last path component: the text after its last ".", none for a
// leading dot or a trailing one.
std::string pathExtension(std::string_view name);
// The name without that extension and its dot.
std::string deletingPathExtension(std::string_view name);

namespace TypeRegistry {
// The type declared for an extension (compared case-insensitively) that conforms to
// `supertype`; nullopt when none is known.
std::optional<UniformType> typeForFilenameExtension(
    std::string_view extension, const UniformType& supertype = UniformType::data());
// The type for a file name's extension (text after the last "."), if it has one.
std::optional<UniformType> typeForFilename(std::string_view filename);
bool conformsTo(const UniformType& type, const UniformType& supertype);
// The extension a file of this type is usually given; nullopt for types without one.
std::optional<std::string> preferredFilenameExtension(const UniformType& type);
}  // namespace TypeRegistry

}  // namespace fp
