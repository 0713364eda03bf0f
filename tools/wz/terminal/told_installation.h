/// An installation as the commands that change a terminal run it: told by words or JSON, kept in
/// the terminal's history, and stopped between two steps by a signal.
#ifndef WZ_TERMINAL_TOLD_INSTALLATION_H
#define WZ_TERMINAL_TOLD_INSTALLATION_H

#include <vector>

#include "wz/terminal/change_record.h"
#include "wz/terminal/installation.h"
#include "wz/terminal/log_copy.h"

namespace wz {

/// Installs what waits in the source directory: the log or nothing while it runs, then what it
/// changed, in words or as a document of JSON of that command. A signal ends the program, once it
/// has said what is done and what is not. The exit code.
/// \param record    has begun.
/// \param packages  those that wait.
/// \param copy      gets the log too, line by line as it comes. Where it cannot be written to its
///                  end, the installation is done all the same, and the code says so.
[[nodiscard]] int installAndTell(const char* command, const std::vector<WaitingPackage>& packages,
                                 bool asJson, LogCopy& copy, ChangeRecord& record);

}  // namespace wz

#endif  // WZ_TERMINAL_TOLD_INSTALLATION_H
