// Messages that more than one step of an installation run reports.
#ifndef WZAPP_INSTALLER_MESSAGES_H
#define WZAPP_INSTALLER_MESSAGES_H

namespace wzapp {

inline constexpr const char* kCheckingLine = "Checking %s\n";
inline constexpr const char* kRemovingLine = "Removing %s\n";

// With which the rules and the dependency check begin in every report.
inline constexpr const char* kRulesLine = "postinstall\n";
inline constexpr const char* kDependenciesLine = "Checking dependencies\n";

inline constexpr const char* kUnreadableDirectory = "Warning: Failed to read directory '%s'.\n";
inline constexpr const char* kUnreadableManifest =
    "Error: Cannot read '%s', invalid permissions or invalid format\n";
inline constexpr const char* kUnreadableArchive = "Error: Failed reading '%s'\n";
inline constexpr const char* kUnreadableEntry = "Error: Failed to extract '%s'\n";

}  // namespace wzapp

#endif  // WZAPP_INSTALLER_MESSAGES_H
