/// What a terminal is, as JSON.
#ifndef WZ_REPORTS_TERMINAL_OUTPUT_H
#define WZ_REPORTS_TERMINAL_OUTPUT_H

#include "workstation/terminal/terminal_profile.h"
#include "wz/reports/json_output.h"

namespace wz {

/// Writes the members of the result of `wz terminal show`, for the terminal that this process is
/// inside of.
void putTerminal(JsonWriter& writer, const workstation::TerminalProfile& profile);

}  // namespace wz

#endif  // WZ_REPORTS_TERMINAL_OUTPUT_H
