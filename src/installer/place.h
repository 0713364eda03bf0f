// Where a path leads, held in a way that no other process can bend.
#ifndef WZAPP_INSTALLER_PLACE_H
#define WZAPP_INSTALLER_PLACE_H

#include <sys/stat.h>

#include <string>

#include "installer/file_descriptor.h"

namespace wzapp {

// The name `name`, which may or may not exist, in an open directory: for openat(2) and its like.
struct Place {
  FileDescriptor directory;  // opened for nothing but finding names in it
  std::string name;
};

// Whether this is the status of a symbolic link that belongs to root or to the process's user. Such
// a link may stand for one of the three roots: who can make it can write to the root anyway.
[[nodiscard]] bool isTrustedLink(const struct stat& status);

// Finds the place of `path`, whose components "/" separates. Below the configuration root no
// symbolic link is followed on the way, but for a trusted one in the place of the application root,
// the manifest root or the file-system root; elsewhere, as on the way to the configuration root,
// they are. False with errno when a directory on the way is missing or is none (ENOTDIR for a
// link), or when a component is "." or "..". The only exception is std::bad_alloc.
[[nodiscard]] bool findPlace(const std::string& path, Place& place);

// The same for a path below the configuration root, creating the directories that are missing on
// the way from there, mode 0777 before the process's mask; those stay in any case. False also when
// one of them cannot be created.
[[nodiscard]] bool makePlace(const std::string& path, Place& place);

// Makes the places of many files one after the other. The directory of the last one stays open, so
// that files of the same directory find it at once. Meanwhile nobody can put another one in its
// place: one that is moved takes the files that follow with it, as it takes those before. Moving it
// takes the right to write to the directory above, which is the process's own user's.
class FilePlaces {
 public:
  // The same as makePlace(), but for the place being good until the next call, and null for false.
  [[nodiscard]] const Place* make(const std::string& path);

 private:
  std::string directory_;  // path of place_.directory with the "/" behind it; empty: there is none
  Place place_;
};

}  // namespace wzapp

#endif  // WZAPP_INSTALLER_PLACE_H
