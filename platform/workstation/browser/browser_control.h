/// What a workstation can do with the browser beyond the terminal's interface: choose how it
/// starts, watch its pages, take pictures of them. Exported by libzelguiprt.so.
#ifndef WORKSTATION_BROWSER_BROWSER_CONTROL_H
#define WORKSTATION_BROWSER_BROWSER_CONTROL_H

#include <string>
#include <vector>

#define WORKSTATION_API __attribute__((visibility("default")))

namespace workstation {

struct BrowserOptions {
  bool headless = false;  ///< No windows; also whenever there is no display server.
  bool devtools = false;  ///< Opens the developer tools with each window.
  std::string program;    ///< The browser's binary; empty: Debian's Chromium.
};

/// Counts for the next browser that is started, so call it before the first invocation.
WORKSTATION_API void setBrowserOptions(const BrowserOptions& options);

/// Something that happened in the page of one invocation.
struct PageEvent {
  enum class Kind {
    kConsole,  ///< `level` (0 to 7), `texts`: a console line, dialog text or uncaught exception.
    kLog,      ///< `level` (0 to 7), `texts`: the page called wz.log.
    kFailedRequest,  ///< `url`, `status`: "404" or the name of the network's error.
    kFirstPaint,     ///< The page shows something for the first time.
    kEnded,          ///< `level` is the result, `texts` the error's text if there is one.
  };
  Kind kind = Kind::kConsole;
  int invocation = -1;
  std::string appId;
  int level = 0;
  std::vector<std::string> texts;
  std::string url;
  std::string status;
};

/// Called on a thread that belongs to the event's invocation, in the order of its events; kEnded
/// comes last, before uiInvokeWait returns. It must neither throw nor wait for the invocation.
using PageObserver = void (*)(void* user, const PageEvent& event);

/// Replaces the one observer of the process; null: none. Calls that have begun may still be running
/// when this returns.
WORKSTATION_API void setPageObserver(PageObserver observer, void* user);

/// Writes a PNG picture of what a running invocation shows to `file`. False, with the reason in
/// `error`, when there is no such invocation, the file cannot be written, or the page does not
/// answer within a few seconds (one held by wz.notifyAndWaitSync cannot).
WORKSTATION_API bool takeScreenshot(int invocation, const std::string& file, std::string& error);

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_BROWSER_CONTROL_H
