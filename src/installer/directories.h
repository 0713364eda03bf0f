// The installer's fixed directories, and what must be done before they can be used.
#ifndef WZAPP_INSTALLER_DIRECTORIES_H
#define WZAPP_INSTALLER_DIRECTORIES_H

#include "support/install_log.h"

namespace wzapp {

// Where packages are dropped, and the installer's own file among them.
inline constexpr const char* kSourceDir = "/mnt/flash/system/wz";
inline constexpr const char* kTemporaryFile = "/mnt/flash/system/wz/installer.tmp";

// Below the configuration root: one directory for each application's files, marketplace manifest
// and own data.
inline constexpr const char* kConfigRoot = "/mnt/flash/etc/config/wzapp";
inline constexpr const char* kAppRoot = "/mnt/flash/etc/config/wzapp/wz";
inline constexpr const char* kManifestRoot = "/mnt/flash/etc/config/wzapp/mp";
inline constexpr const char* kFileSystemRoot = "/mnt/flash/etc/config/wzapp/fsroot";

// A root of the older layout, and the one that took its place.
struct Migration {
  const char* from;
  const char* to;
};

// In the order in which they are moved.
inline constexpr Migration kMigrations[] = {
    {"/home/sys13/flash/www/wz", kAppRoot},
    {"/home/sys13/flash/www/mp", kManifestRoot},
    {"/home/sys13/flash/www/fsroot", kFileSystemRoot},
};

// Makes `log` with `user` the install sink (null: silent) and sees to it that the configuration
// root is a directory of the calling process's real user. Where it does not exist yet it is
// created, and the applications of the older layout are moved into it; a move that fails is
// reported and the rest goes on. A symbolic link is moved like a directory if it is a trusted one
// (place.h); any other link counts as a move that fails. A first start that is cut is finished by
// the next one: until all is moved, the empty directory "wzapp.moving" stands beside the root.
//
// True when the root is usable, otherwise false after one report; a root that was created stays.
// Any thread may call; calls follow one another, so that two first starts at once both succeed.
// Nothing is locked while `log` is called. The only exception is std::bad_alloc.
[[nodiscard]] bool prepareConfigRoot(InstallLog log, void* user);

}  // namespace wzapp

#endif  // WZAPP_INSTALLER_DIRECTORIES_H
