// An open directory, read entry by entry in its own order: what everything that lists a directory
// reads it with.
#ifndef WZAPP_SUPPORT_DIRECTORY_STREAM_H
#define WZAPP_SUPPORT_DIRECTORY_STREAM_H

#include <dirent.h>

#include <memory>

namespace wzapp {

struct DirectoryCloser {
  void operator()(DIR* stream) const { closedir(stream); }
};

// Closes the directory with its owner. Null when nothing is open.
using DirectoryStream = std::unique_ptr<DIR, DirectoryCloser>;

// The next entry of an open directory, good until the next call for it. Null with errno 0 at its
// end, and with another errno where it cannot be read on: what was read by then is not the whole
// directory.
[[nodiscard]] const struct dirent* readEntry(DIR* stream);

// Whether `entry` is the directory itself or the one above it.
[[nodiscard]] bool isDotEntry(const struct dirent& entry);

}  // namespace wzapp

#endif  // WZAPP_SUPPORT_DIRECTORY_STREAM_H
