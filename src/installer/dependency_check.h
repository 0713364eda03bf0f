// Whether every installed application finds what it imports: triggers, interfaces, versions and a
// platform that it supports.
#ifndef WZAPP_INSTALLER_DEPENDENCY_CHECK_H
#define WZAPP_INSTALLER_DEPENDENCY_CHECK_H

#include "installer/marketplace_rules.h"

#include <string>

namespace wzapp {

// Removes every installed application whose dependencies fail and, since what is removed may export
// nothing more, checks the others again until none fails. Adds the ids of those that failed to
// `removed`. Its errors are reported, but it is for the caller to say what they mean for the run:
// the result is only changed by warnings of the removal.
//
// However many passes it takes, each manifest is read once, before any application is checked.
// False when something that the check needs could not be found out: that was reported as an error,
// and nothing is removed.
//
// Called while the install lock is held, by one thread. The only exception is std::bad_alloc.
[[nodiscard]] bool checkDependencies(AppIds& removed);

// What this terminal is, for applications that do not name its model: "480x800C15T" has 480 by 800
// pixels in colour (M: monochrome), 15 keys and a touch screen (N: none). May throw std::bad_alloc.
[[nodiscard]] std::string hardwareDescriptor();

}  // namespace wzapp

#endif  // WZAPP_INSTALLER_DEPENDENCY_CHECK_H
