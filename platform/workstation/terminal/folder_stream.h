/// An open folder, closed with the object. Unlike the iterator of <filesystem>, which ends the
/// process when it finds no memory for an entry, it needs none of its own for each.
#ifndef WORKSTATION_TERMINAL_FOLDER_STREAM_H
#define WORKSTATION_TERMINAL_FOLDER_STREAM_H

#include <dirent.h>

#include <memory>

namespace workstation {

struct CloseFolder {
  void operator()(DIR* folder) const { closedir(folder); }
};

/// Null for a folder that could not be opened.
using FolderStream = std::unique_ptr<DIR, CloseFolder>;

}  // namespace workstation

#endif  // WORKSTATION_TERMINAL_FOLDER_STREAM_H
