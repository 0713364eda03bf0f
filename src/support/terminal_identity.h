// Which sponsor the terminal belongs to.
#ifndef WZAPP_SUPPORT_TERMINAL_IDENTITY_H
#define WZAPP_SUPPORT_TERMINAL_IDENTITY_H

#include <string>

#include "support/finding.h"

namespace wzapp {

// Sets `id` to the sponsor's six decimal digits and `text` to its text of 1 to 127 octets; both to
// nothing when the terminal has no sponsor or the security service refuses. What was found once is
// kept until the process ends; a failure is not, so that a later call tries again. Any thread may
// call; one at a time asks the service. The only exception is std::bad_alloc.
//
// kFound with a sponsor, kNone without a usable one. kUnknown when the service's list has ended
// twice before a sponsor record came: how far it is read is one state, and whoever else reads it
// may have had the record.
Finding getTerminalSponsor(std::string& id, std::string& text);

}  // namespace wzapp

#endif  // WZAPP_SUPPORT_TERMINAL_IDENTITY_H
