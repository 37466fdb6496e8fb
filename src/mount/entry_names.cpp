#include "mount/entry_names.h"

#include <cerrno>

#include "platform/utf8.h"
#include "platform/white_space.h"

namespace drive::mount {

namespace {
constexpr std::size_t kNameMax = 255;
}  // namespace

int nameError(std::string_view name, bool newEntry) {
  if (name.size() > kNameMax) return ENAMETOOLONG;
  if (newEntry && !fp::isValidUTF8(name)) return EILSEQ;
  // The provider trims names it shows: " a" and "a " would both show, and resolve, as "a".
  if (newEntry && fp::trimmingWhiteSpaceAndNewlines(std::string(name)) != name) return EINVAL;
  return 0;
}

}  // namespace drive::mount
