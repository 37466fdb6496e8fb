#pragma once

#include "platform/item_identifier.h"

namespace drive {

// Deletes the node on the service when this user may; containers are read only.
void deleteItem(const fp::ItemIdentifier& identifier);

}  // namespace drive
