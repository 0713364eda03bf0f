/// Another set of platform libraries, to be preloaded under a host program: small, without a
/// browser or a bus, and telling on standard output what it is asked for, one line a call.
#ifndef WZAPP_TESTS_END_TO_END_DOUBLES_PLATFORM_H
#define WZAPP_TESTS_END_TO_END_DOUBLES_PLATFORM_H

#include <string>

namespace platform_double {

/// Writes a line.
void tell(const std::string& line);

/// What the application's page does: it calls every callback that has been registered once.
void runPage(const std::string& appId);

}  // namespace platform_double

#endif  // WZAPP_TESTS_END_TO_END_DOUBLES_PLATFORM_H
