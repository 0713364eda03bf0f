/// Development keys of the user's own, for an installed kit: what they sign is taken by the
/// terminals that the same user makes, whose folders bring the table of these keys along.
#ifndef WZ_TERMINAL_OWN_KEYS_H
#define WZ_TERMINAL_OWN_KEYS_H

#include <string>

namespace wz {

/// $XDG_DATA_HOME/wzapp/keys, or ~/.local/share/wzapp/keys. Empty where there is no home, and in a
/// build with a product's authorities, which never takes others.
[[nodiscard]] std::string ownKeyDirectory();

/// Whether they are there.
[[nodiscard]] bool hasOwnKeys();

/// The keys that the build of this program has made, where it lies in its build folder. Empty
/// otherwise, and in a build with a product's authorities.
[[nodiscard]] std::string buildKeyDirectory();

/// The folder whose table new terminals are to trust, made at its first use: what WZ_KEYS names,
/// where it has a table, or, where the build has left no keys beside this program, the user's own
/// keys. Empty where the table that is compiled in is meant. False after a message.
[[nodiscard]] bool findTableDirectory(std::string& directory);

/// The same without making anything.
[[nodiscard]] std::string knownTableDirectory();

/// Makes them where they are not there yet, and says so. Several users, and several commands of
/// one, may do so at once. False after a message.
[[nodiscard]] bool makeOwnKeys();

}  // namespace wz

#endif  // WZ_TERMINAL_OWN_KEYS_H
