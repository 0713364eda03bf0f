/// Says what a running application does, as it happens.
#ifndef WZ_REPORTS_RUN_REPORT_H
#define WZ_REPORTS_RUN_REPORT_H

#include <map>
#include <string>

#include "workstation/browser/browser_control.h"
#include "zelipc/zelipc.h"

namespace wz {

/// Prints one line for `event`: a console line, a log line or a failed request. The others print
/// nothing. Any thread may call.
void reportEvent(const workstation::PageEvent& event);

/// Prints a record of an application's log that the library has published.
void reportRecord(const zelipc::JSObject& record);

/// Prints how the application `id` ended, with the error's text if there is one, and its
/// properties.
void reportEnd(const std::string& id, int result, const std::string& errorText,
               const std::map<std::string, std::string>& properties);

}  // namespace wz

#endif  // WZ_REPORTS_RUN_REPORT_H
