/// What an invocation ends with, or is refused with, when it is not the page that says it.
#ifndef WORKSTATION_BROWSER_ENGINE_RESULT_CODES_H
#define WORKSTATION_BROWSER_ENGINE_RESULT_CODES_H

namespace workstation {

enum ResultCode : int {
  kWindowClosed = 0,  ///< By the user or by the page itself.
  kPageFailed = -1,   ///< A page of the application could not be loaded.
  kNoBrowser = -2,    ///< No browser, or it cannot be started.
  kNoSuchPage = -3,   ///< The application has no such start page, or there is no application.
  kOutsideApplication = -4,  ///< The URL, or the directory, leads out of the application.
  kNoSuchRegion = -5,        ///< Only region 0, the whole display, exists.
  kNoSuchInvocation = -6,    ///< Never begun, or its end has been collected.
  kTimeout = -7,             ///< Still running when the time to wait was over.
  kCancelled = -8,           ///< uiInvokeCancelAsync.
  kPageCrashed = -9,         ///< The page's process died.
  kBrowserLost = -10,        ///< The browser died or stopped answering.
  kNoResources = -11,        ///< Memory or threads are out.
};

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_RESULT_CODES_H
