// An inner package: a signed ZIP archive inside a package file. Its name tells what it may bring.
#ifndef WZAPP_INSTALLER_INNER_PACKAGE_H
#define WZAPP_INSTALLER_INNER_PACKAGE_H

#include "archive/unzip.h"
#include "installer/marketplace_rules.h"
#include "installer/package_file.h"

namespace wzapp {

// Verifies the entry of the package file, then extracts its content below the application root or
// the manifest root and adds the id of the application to `installed`. An error is reported and
// ends this package; nothing of a package that is not verified is extracted.
//
// What is extracted is a copy of the octets that were digested (temporary_file.h), in the usual
// case made in the same pass. Where the copy would have taken the last free space it is made in a
// second pass, once the package is verified, and digested again.
//
// Called while the install lock is held, by one thread. The only exception is std::bad_alloc.
void installInnerPackage(PackageFile& file, UnZIP::Entry entry, AppIds& installed);

}  // namespace wzapp

#endif  // WZAPP_INSTALLER_INNER_PACKAGE_H
