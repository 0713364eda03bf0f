// Clears a name in the source directory, where anybody may have put anything.
#ifndef WZAPP_INSTALLER_SET_ASIDE_H
#define WZAPP_INSTALLER_SET_ASIDE_H

namespace wzapp {

// Removes whatever lies at `path`, in the source directory: a link itself, a directory with its
// content. What of a directory cannot be removed, as another user's, is given a name of its own
// that no package has, kTemporaryFile with six more characters. Nothing is reported or thrown.
void removeOrSetAside(const char* path);

}  // namespace wzapp

#endif  // WZAPP_INSTALLER_SET_ASIDE_H
