/// Hears what library, browser and bus say about a running application.
#ifndef WZ_TERMINAL_RUN_LISTENERS_H
#define WZ_TERMINAL_RUN_LISTENERS_H

#include <functional>
#include <string>

#include "workstation/browser/browser_control.h"
#include "wz/reports/run_report.h"
#include "wz/terminal/run_events.h"
#include "zelipc/zelipc.h"

namespace wz {

/// For as long as it lives, everything is reported, and what the main thread acts on goes into
/// `events`. There is one in a process.
class RunListeners {
 public:
  /// `onOpened` is called for each page that is being opened, with its invocation.
  using Opened = std::function<void(int invocation)>;
  RunListeners(RunEvents& events, RunReport& report, Opened onOpened = nullptr);
  ~RunListeners();
  RunListeners(const RunListeners&) = delete;
  RunListeners& operator=(const RunListeners&) = delete;

 private:
  static void onPageEvent(void* self, const workstation::PageEvent& event);
  static void onRecord(void* self, const std::string& from, const std::string& to,
                       const std::string& name, const zelipc::JSObject& record, unsigned flags);
  static void onUndelivered(void* self, const std::string& from, const std::string& to,
                            const std::string& name, const zelipc::JSObject& payload,
                            unsigned flags);

  RunEvents& events_;
  RunReport& report_;
  const Opened onOpened_;
};

}  // namespace wz

#endif  // WZ_TERMINAL_RUN_LISTENERS_H
