// Which sponsor the terminal belongs to.
#ifndef WZAPP_SUPPORT_TERMINAL_IDENTITY_H
#define WZAPP_SUPPORT_TERMINAL_IDENTITY_H

#include <string>

namespace wzapp {

// Sets `id` to the sponsor's six decimal digits and `text` to its text of 1 to 127 octets; both to
// nothing when the terminal has no sponsor or the security service refuses. What was found once is
// kept until the process ends; a failure is not, so that a later call tries again. Any thread may
// call; one at a time asks the service. The only exception is std::bad_alloc.
void getTerminalSponsor(std::string& id, std::string& text);

}  // namespace wzapp

#endif  // WZAPP_SUPPORT_TERMINAL_IDENTITY_H
