// Which applications may stay: those with a marketplace manifest, in a directory of their name
// below the manifest root, that names them and lists the terminal's sponsor. An uninstall manifest
// beside it takes the application away again. Names are compared in upper case.
#ifndef WZAPP_INSTALLER_MARKETPLACE_RULES_H
#define WZAPP_INSTALLER_MARKETPLACE_RULES_H

#include <set>
#include <string>

namespace wzapp {

// Application ids as their manifests write them; the empty one is an id like any other.
using AppIds = std::set<std::string>;

// Removes everything that may not stay from the application root, the file-system root and the
// manifest root. Adds to `removed` the applications that a manifest condemned; those that are gone
// because they have no manifest, or were uninstalled, are not among them.
//
// All manifests are read before an application is removed. False when something that the judgement
// needs could not be found out: that was reported as an error, and what was not judged stays.
//
// Called while the install lock is held, by one thread. The only exception is std::bad_alloc.
[[nodiscard]] bool applyMarketplaceRules(AppIds& removed);

}  // namespace wzapp

#endif  // WZAPP_INSTALLER_MARKETPLACE_RULES_H
