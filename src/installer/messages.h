// Messages that more than one step of an installation run reports.
#ifndef WZAPP_INSTALLER_MESSAGES_H
#define WZAPP_INSTALLER_MESSAGES_H

namespace wzapp {

inline constexpr const char* kCheckingLine = "Checking %s\n";
inline constexpr const char* kRemovingLine = "Removing %s\n";

inline constexpr const char* kUnreadableArchive = "Error: Failed reading '%s'\n";
inline constexpr const char* kUnreadableEntry = "Error: Failed to extract '%s'\n";

}  // namespace wzapp

#endif  // WZAPP_INSTALLER_MESSAGES_H
