/// Which directories the browser service takes from a host.
///
/// An application's id becomes a directory's name on the way here. Whatever it was, a page must not
/// be given another application's files, or the user's.
#ifndef WORKSTATION_BROWSER_ENGINE_DIRECTORY_RULES_H
#define WORKSTATION_BROWSER_ENGINE_DIRECTORY_RULES_H

#include <string>
#include <string_view>

namespace workstation {

/// What a directory is for.
enum class DirectoryUse {
  kApplication,     ///< the application's own: its pages are served from it
  kInApplication,   ///< one inside of it
  kFileSystem,      ///< what the application itself stores in
  kFileSystemRoot,  ///< the one in which those of all applications lie
};

/// Why `path` is not taken for that use, as a line of text; empty when it is. The empty path is no
/// directory and always taken. Any other must be absolute, lead down from the root, and name no
/// step
/// "." or ".."; inside of a terminal it must also lie where the terminal keeps directories of that
/// use, an application's own and its file system exactly one plain name below.
[[nodiscard]] std::string whyNoDirectory(DirectoryUse use, std::string_view path);

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_DIRECTORY_RULES_H
