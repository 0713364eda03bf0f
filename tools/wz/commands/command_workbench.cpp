#include "wz/commands/command_workbench.h"

#include <string>

#include "workstation/terminal/terminal_profile.h"
#include "wz/commands/run_setup.h"
#include "wz/reports/lost_output.h"
#include "wz/reports/message_output.h"
#include "wz/reports/output.h"
#include "wz/terminal/interrupt.h"
#include "wz/terminal/session.h"
#include "wz/words/exit_code.h"
#include "wz/workbench/applications.h"
#include "wz/workbench/browser_opener.h"
#include "wz/workbench/child.h"
#include "wz/workbench/workbench.h"

namespace wz {
namespace {

void tell(const Workbench& workbench, bool asJson) {
  if (asJson) {
    zelipc::JSObject event = MessageOutput().event("serving");
    event["address"] = zelipc::JSObject(workbench.address());
    event["terminal"] = zelipc::JSObject(workstation::terminalDirectory());
    return MessageOutput::print(event);
  }
  printLine("the workbench of " + workstation::terminalDirectory() + " is at");
  printLine("  " + workbench.address());
  printLine("which opens it once; Ctrl-C ends it and all that it runs");
}

}  // namespace

int serveWorkbench(const WorkbenchOptions& options) {
  WorkbenchPlan plan;
  plan.port = options.port;
  Applications offered("");
  for (const std::string& folder : options.folders) {
    const Problem problem = offered.addFolder(folder);
    if (problem.empty()) continue;
    printMessage(problem);
    return kUsage;
  }
  plan.folders = offered.folders();
  // The browser is the user's own, outside of the terminal.
  BrowserOpener opener;
  if (options.opens) opener.begin();
  watchInterrupts();
  outliveReader();
  if (!enterChosenTerminal(options.terminal) || !prepareConfigRoot()) return kEnvironment;
  prepareForChildren(workstation::terminalDirectory());
  Workbench workbench;
  std::string error;
  if (!workbench.begin(plan, error)) {
    printMessage(error);
    return kEnvironment;
  }
  tell(workbench, options.asJson);
  if (hasLostOutput()) return kEnvironment;  // nobody knows the way in
  opener.open(workbench.address(), workstation::terminalDirectory());
  return workbench.run() ? kDone : kEnvironment;
}

}  // namespace wz
