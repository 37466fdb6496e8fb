#pragma once

#include <sys/stat.h>

#include "replica/item_info.h"

namespace drive::mount {

// Who owns every file of the mount: the user who mounted it.
struct Owner {
  uid_t uid = 0;
  gid_t gid = 0;
};

// An item's attributes: its key as the inode number, size and times from the item, and a
// mode from the provider's capabilities, so that a refusal shows before anything is written.
// Items without a date (the root, the namespaces' folders) take `undated`, not 1970.
struct stat attributesOf(const replica::ItemInfo& info, const Owner& owner,
                         const timespec& undated);

}  // namespace drive::mount
