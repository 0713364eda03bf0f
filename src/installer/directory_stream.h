// An open directory that is closed with its owner.
#ifndef WZAPP_INSTALLER_DIRECTORY_STREAM_H
#define WZAPP_INSTALLER_DIRECTORY_STREAM_H

#include <dirent.h>

#include <memory>

namespace wzapp {

struct DirectoryCloser {
  void operator()(DIR* stream) const { closedir(stream); }
};

// Null when nothing is open.
using DirectoryStream = std::unique_ptr<DIR, DirectoryCloser>;

}  // namespace wzapp

#endif  // WZAPP_INSTALLER_DIRECTORY_STREAM_H
