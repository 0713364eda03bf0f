// The browser, the script processor and the messaging for a soak: pages that call the library from
// their scripts, replies that come, come late or never, and all of it failing now and then.
//
// Linked into a test program these functions stand in front of the workstation platform's; JSON,
// platform information and the security service are the workstation's own.
#ifndef WZAPP_TESTS_SOAK_SOAK_PLATFORM_H
#define WZAPP_TESTS_SOAK_SOAK_PLATFORM_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace wzapp_test {

// About one call in this many of the library fails, on the threads that run applications, scripts
// and installations. 0: none.
void setFaultRate(unsigned oneIn);
// For the next piece of work: that rate, a tenth of it, or none.
unsigned nextFaultRate();

// The result of a page that was cancelled.
inline constexpr int kCancelledPage = 77;

// One thing that a script does, in the name of an application: a log line, a request, a
// notification with or without a reply.
void runScript(const std::string& appId);

// Delivers what was sent: replies and errors. One thread calls it again and again; false when there
// was nothing to deliver.
bool deliverNext();

// Pages and registrations that are there; none once all applications have ended.
std::size_t platformObjects();

struct PlatformCounts {
  std::uint64_t pages;
  std::uint64_t scripts;
  std::uint64_t notifications;
  std::uint64_t logs;  // published
  std::uint64_t replies;
};
PlatformCounts platformCounts();

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_SOAK_SOAK_PLATFORM_H
