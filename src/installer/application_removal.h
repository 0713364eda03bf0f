// Removal of what belongs to one application. What a run that is cut short has begun to remove must
// show in the next one, so what tells that it has to go is removed last, even where its turn in the
// report comes earlier: what the report allows no other order for is first removed in advance, with
// nothing said. Whatever that leaves is dealt with, and reported, at its turn.
#ifndef WZAPP_INSTALLER_APPLICATION_REMOVAL_H
#define WZAPP_INSTALLER_APPLICATION_REMOVAL_H

#include "installer/listing.h"

namespace wzapp {

// `entry` is one of the application root: removes it, reports the removal of the application's data
// and removes that. `isGone`: it was all removed in advance.
void removeApplication(const ListedEntry& entry, bool isGone = false);

// `entry` is one of the manifest root.
void removeManifestDirectory(const ListedEntry& entry);

// The same in advance, for a caller who must keep something else until then. False when something
// was left.
[[nodiscard]] bool removeApplicationInAdvance(const ListedEntry& entry);
[[nodiscard]] bool removeManifestDirectoryInAdvance(const ListedEntry& entry);

}  // namespace wzapp

#endif  // WZAPP_INSTALLER_APPLICATION_REMOVAL_H
