#include "actions/companion_client.h"
#include "actions/custom_actions.h"
#include "changes/content_fetch.h"
#include "changes/create_item.h"
#include "changes/delete_item.h"
#include "changes/modify_item.h"
#include "enumeration/drive_enumerator.h"
#include "enumeration/drive_working_set_enumerator.h"
#include "extension/extension_bodies.h"
#include "items/item_lookup.h"

namespace drive {

ExtensionBodies ExtensionBodies::standard() {
  ExtensionBodies bodies;
  bodies.itemLookup = lookupItem;
  bodies.contentFetch = fetchContents;
  bodies.create = createItem;
  bodies.modify = drive::modifyItem;
  bodies.deleteItem = drive::deleteItem;
  bodies.action = performAction;
  bodies.actionFollowUp = postCommandWithRetries;
  bodies.containerEnumerator = [](const fp::ItemIdentifier& identifier) {
    return std::make_shared<DriveEnumerator>(identifier);
  };
  bodies.workingSetEnumerator = [] { return std::make_shared<DriveWorkingSetEnumerator>(); };
  return bodies;
}

}  // namespace drive
