/// How the GUI service reaches the script processor that a host has registered with the HTML
/// engine. Exported by libzelhtml.so.
#ifndef WORKSTATION_BROWSER_HTML_SCRIPT_RUNNER_H
#define WORKSTATION_BROWSER_HTML_SCRIPT_RUNNER_H

#include <map>
#include <string>

namespace workstation {

/// Runs `source` with the processor registered for `type`, on the calling thread. False, with
/// `context` as it was, when there is none; else what the processor returns.
__attribute__((visibility("default"))) bool runScript(const std::string& type,
                                                      const std::string& source,
                                                      std::map<std::string, std::string>& context);

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_HTML_SCRIPT_RUNNER_H
