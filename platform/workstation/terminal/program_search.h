/// Where a program is that a user could start by its name.
#ifndef WORKSTATION_TERMINAL_PROGRAM_SEARCH_H
#define WORKSTATION_TERMINAL_PROGRAM_SEARCH_H

#include <string>

namespace workstation {

/// The path of `name` in the first folder of PATH (or, where that is not set, of /usr/bin and /bin)
/// that has it as an executable file; empty when none has.
std::string findProgram(const std::string& name);

}  // namespace workstation

#endif  // WORKSTATION_TERMINAL_PROGRAM_SEARCH_H
