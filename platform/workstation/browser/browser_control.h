/// What a workstation can do with the browser beyond the terminal's interface: choose how it
/// starts, watch its pages, take pictures of them. Exported by libzelguiprt.so.
#ifndef WORKSTATION_BROWSER_BROWSER_CONTROL_H
#define WORKSTATION_BROWSER_BROWSER_CONTROL_H

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#define WORKSTATION_API __attribute__((visibility("default")))

namespace workstation {

struct BrowserOptions {
  bool headless = false;      ///< No windows; also whenever there is no display server.
  bool devtools = false;      ///< Opens the developer tools with each window.
  bool recordsInput = false;  ///< Tells what the user clicks and types (PageEvent::kInput).
  bool lastPicture = false;  ///< Takes a picture of each page as it ends (PageEvent::kLastPicture).
  std::string locale;        ///< A BCP 47 tag that pages see as the user's; empty: the machine's.
  std::string program;       ///< The browser's binary; empty: Debian's Chromium.
  std::string lender;        ///< The socket of lendBrowsers(); empty: a browser of one's own.
};

/// Counts for the next browser that is started, so call it before the first invocation.
WORKSTATION_API void setBrowserOptions(const BrowserOptions& options);

/// Lends browsers to programs that show pages one after another, so that not each of them starts
/// one: those that name its socket as their lender, want no window and no language of their own.
/// Pages share nothing but the browser's processes.
class BrowserLender {
 public:
  virtual ~BrowserLender() = default;  ///< Ends the browsers.
};

/// Null, with the reason in `error`, when nothing can be lent on that socket, a path that nothing
/// is at.
WORKSTATION_API std::unique_ptr<BrowserLender> lendBrowsers(const std::string& socket,
                                                            std::string& error);

/// Something that happened in the page of one invocation.
struct PageEvent {
  enum class Kind {
    kOpened,   ///< The first: a page is being opened, with `properties`.
    kConsole,  ///< A console line, dialog text or uncaught error: `level` (0 to 7), one text, which
               ///< may have several lines; `place`, `depth`, `isUncaught`.
    kLog,      ///< The page called wz.log: `level` (0 to 7), `texts`.
    kFailedRequest,  ///< `url`, `status`: "404" or the name of the network's error; `isOwn`.
    kFirstPaint,     ///< The page shows something for the first time.
    kSent,           ///< The page sends a notification: `message`, `awaitsReply`.
    kReply,        ///< What came of it, unless it was sent and awaits no reply: `message` with the
                   ///< reply's payload, `level` 0; or a code other than 0 and the error's text.
    kInput,        ///< The user has done something: `input`.
    kLastPicture,  ///< The page is ending: one text, a PNG; or none, and why not in `status`.
    kEnded,        ///< `level` is the result, `texts` the error's text if there is one.
  };
  struct Place {
    std::string file;  ///< Relative to the application's folder, or a URL; empty: not known.
    int line = 0, column = 0;  ///< From 1; 0: not known.
  };
  struct Message {
    std::string from, to, name;
    std::string payload;  ///< JSON text
  };

  struct Input {
    std::string action;  ///< "click", "key", or "choose" for a choice out of a list.
    std::string target;  ///< A CSS selector of the element; empty: the page as a whole.
    std::string text;    ///< The key's name as scripts see it; the value that was chosen.
    bool hasPoint = false;
    int x = 0, y = 0;  ///< Where in an element that is more than a button, if `hasPoint`.
  };

  Kind kind = Kind::kConsole;
  int invocation = -1;
  std::string appId;
  int level = 0;
  std::vector<std::string> texts;
  std::string url;
  std::string status;
  Place place;
  int depth = 0;            ///< In how many console groups the line stands.
  bool isUncaught = false;  ///< An error, or a rejection, that nothing in the page has handled.
  bool isOwn = false;       ///< The URL is one of the application's own.
  Message message;
  bool awaitsReply = false;
  std::map<std::string, std::string> properties;
  Input input;
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

/// Gives the page of a running invocation a command of the browser's developer tools (the Chrome
/// DevTools Protocol, a method of a page's session), with its parameters as the text of a JSON
/// object. The result's text is in `result`. False, with the reason in `error`, as takeScreenshot.
WORKSTATION_API bool commandPage(int invocation, const std::string& method,
                                 const std::string& params, std::string& result,
                                 std::string& error);

/// Opens the developer tools of a running invocation that has a window. False, with the reason in
/// `error`, as takeScreenshot.
WORKSTATION_API bool showDeveloperTools(int invocation, std::string& error);

/// What a tool of the DevTools Protocol is offered: a browser that has this page alone, or the
/// page.
enum class DebugScope { kBrowser, kPage };

/// Where the browser's messages to a tool go, JSON texts, on the browser's thread: it must neither
/// wait nor throw. onEnd is the last call, when the page has ended or the tool has been closed.
struct DebugListener {
  std::function<void(const std::string& message)> onMessage;
  std::function<void()> onEnd;
};

/// A tool that looks at the page of one invocation, over the DevTools Protocol. Destroying it
/// undoes what it has switched on. Any thread may call, but for the destructor on the browser's.
class DebugTool {
 public:
  virtual ~DebugTool() = default;

  /// Takes a message of the tool, a JSON text; nothing once the page has ended.
  virtual void send(const std::string& message) = 0;
};

/// Offers the page of a running invocation to a tool. Null, with the reason in `error`, as
/// takeScreenshot.
WORKSTATION_API std::unique_ptr<DebugTool> openDebugTool(int invocation, DebugScope scope,
                                                         const DebugListener& listener,
                                                         std::string& error);

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_BROWSER_CONTROL_H
