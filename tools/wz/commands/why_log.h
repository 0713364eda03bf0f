/// wz why --log: explains the log of an installer, of a real terminal too.
#ifndef WZ_COMMANDS_WHY_LOG_H
#define WZ_COMMANDS_WHY_LOG_H

#include "wz/commands/commands.h"

namespace wz {

/// Explains the log in the file that the options name. An exit code.
int explainLog(const WhyOptions& options);

}  // namespace wz

#endif  // WZ_COMMANDS_WHY_LOG_H
