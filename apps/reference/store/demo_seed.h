#pragma once

#include "reference/store/tree_builder.h"

namespace drive::reference {

// A small but realistic drive: the user's own space and two workspaces (a viewer only in the
// second), nested folders, a project, files of several types, PRALO documents, archive
// folders, a trashed file, a personal folder in a workspace and names that differ by case.
void seedDemo(TreeBuilder& builder);

}  // namespace drive::reference
