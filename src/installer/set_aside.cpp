#include "installer/set_aside.h"

#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <new>
#include <string>

#include "installer/directories.h"
#include "installer/tree_removal.h"
#include "support/file_system.h"

namespace wzapp {
namespace {

bool isDirectory(const char* path) {
  struct stat status;
  return linkStat(path, status) == 0 && S_ISDIR(status.st_mode);
}

// A directory may be moved over one that is empty: the new one has found the name.
void setAside(const char* path) {
  std::string aside = std::string(kTemporaryFile) + "XXXXXX";
  if (mkdtemp(aside.data()) == nullptr) return;
  if (std::rename(path, aside.c_str()) != 0) static_cast<void>(rmdir(aside.c_str()));
}

}  // namespace

void removeOrSetAside(const char* path) {
  if (std::remove(path) == 0 || !isDirectory(path)) return;
  try {
    removeTree(path, Quiet::kEverything);
    if (isDirectory(path)) setAside(path);
  } catch (const std::bad_alloc&) {
    // It stays: without memory there is no installing either.
  }
}

}  // namespace wzapp
