/// What of this machine applications, terminals and packages need, and whether it is there.
#ifndef WZ_DOCTOR_MACHINE_CHECK_H
#define WZ_DOCTOR_MACHINE_CHECK_H

#include <string>
#include <vector>

#include "wz/reports/diagnostic.h"

namespace wz {

/// One thing that was looked at.
struct MachineFact {
  std::string name;         ///< "browser"
  std::string found;        ///< "Chromium 156.0.1, /usr/lib/chromium/chromium"
  Diagnostics diagnostics;  ///< none: it is as it should be
};

/// Looks at everything, in the order in which it is shown. Starts the browser for its version. For
/// a process with one thread.
/// \param terminal  folder whose leftovers are looked for; empty: none.
[[nodiscard]] std::vector<MachineFact> checkMachine(const std::string& terminal);

}  // namespace wz

#endif  // WZ_DOCTOR_MACHINE_CHECK_H
