// A package file: a ZIP archive in the source directory, which holds inner packages, their
// signatures and the certificates of the signers.
//
//   shop.zip
//     shop.crt      a signer's certificate, trusted for this package file at most
//     SHOP.ZIP      an inner package: the application's files
//     SHOP.P7S      its signature, or else SHOP.ZIP.P7S
//     SHOP-O.ZIP    another one: the application's marketplace manifest
//     SHOP-O.P7S
//
// What an entry is, is told by the end of its name, in any case and in any folder of the archive.
#ifndef WZAPP_INSTALLER_PACKAGE_FILE_H
#define WZAPP_INSTALLER_PACKAGE_FILE_H

#include <string>

#include "archive/unzip.h"
#include "installer/marketplace_rules.h"
#include "installer/signature_entries.h"
#include "installer/unverified_work.h"

namespace wzapp {

// A package file that is open.
struct PackageFile {
  UnZIP& archive;
  SignatureEntries signatures;
  UnverifiedWork work;  // that is left
};

// Trusts the certificates of the package file at `path`, and nothing that an earlier one brought,
// then installs its inner packages. Adds the ids of those that were extracted to `installed`.
//
// Only a regular file is opened, or a link to one; nothing else is touched by finding out. The file
// is opened once, and may be changed or replaced meanwhile: what is installed is verified. A
// certificate or a signature of more than kMaxCredentialSize octets cannot be read, and neither can
// anything that goes beyond the work which the file may cause (unverified_work.h).
//
// True when the package file brings an uninstall package, installed or not.
//
// Called while the install lock is held, by one thread. The only exception is std::bad_alloc.
[[nodiscard]] bool installPackageFile(const std::string& path, AppIds& installed);

}  // namespace wzapp

#endif  // WZAPP_INSTALLER_PACKAGE_FILE_H
