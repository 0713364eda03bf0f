// Removal of files and of directories with all that is in them.
//
// Whatever another process does to a tree while it is removed, nothing outside of it is: everything
// happens relative to descriptors of directories that were opened without following a symbolic
// link. A link is removed itself, never what it points at. Below the configuration root that holds
// for every component of a path, elsewhere for the last one.
//
// What cannot be removed is reported as a warning and left. One thread at a time runs an
// installation. The only exception is std::bad_alloc.
#ifndef WZAPP_INSTALLER_TREE_REMOVAL_H
#define WZAPP_INSTALLER_TREE_REMOVAL_H

#include <span>
#include <string>
#include <string_view>

namespace wzapp {

// What of a removal is not reported.
enum class Quiet {
  kNothing,
  kTop,         // failures of the path itself; those of the entries below it are
  kEverything,  // for a removal in advance, which another one follows: that one reports
};

// Removes the file or the tree at `path`, whose components "/" separates; does nothing when there
// is none. A path with "." or ".." in it is not removed. The entries of a directory are listed
// before the first of them is removed, and removed in that order, but for the top's entries named
// in `last`: those go behind the others, in their order there. False when something that could be
// seen was left. A removal in advance leaves a directory that cannot be listed, even an empty one,
// so that the other removal finds it.
bool removeTree(const std::string& path, Quiet quiet, std::span<const std::string_view> last = {});

// Removes the file, or the empty directory, at `path`. False when it cannot be removed; nothing is
// reported.
bool removeFile(const std::string& path);

}  // namespace wzapp

#endif  // WZAPP_INSTALLER_TREE_REMOVAL_H
