/// What the parts of an invocation (its page's calls, console and requests) share, and what they
/// know of the invocation that they belong to. Everything runs on the connection's thread.
#ifndef WORKSTATION_BROWSER_ENGINE_PAGE_OWNER_H
#define WORKSTATION_BROWSER_ENGINE_PAGE_OWNER_H

#include <map>
#include <memory>
#include <string>

#include "workstation/browser/engine/page/page_script.h"
#include "workstation/browser/engine/page/page_story.h"
#include "workstation/browser/engine/protocol/call_queue.h"
#include "workstation/browser/engine/protocol/cdp_connection.h"

namespace workstation {

/// The page as its parts see it.
struct PageFacts {
  std::shared_ptr<CdpConnection> connection;
  std::shared_ptr<CallQueue> queue;  ///< The script processor's thread.
  int invocation = -1;
  bool headless = true;
  PageScriptConfig script;
  std::string target;   ///< The browser's id of the window; empty until there is one.
  std::string session;  ///< Empty until it is attached to.

  /// What the script processor is told with every call.
  std::map<std::string, std::string> callContext() const {
    return {{"appId", script.appId}, {"invocation", std::to_string(invocation)}};
  }

  /// A command of the page's session whose answer says nothing.
  void send(const char* method, const JsonObject& params = JsonObject()) const {
    connection->call(session, method, params);
  }
};

/// The invocation.
class PageOwner {
 public:
  /// Whether the page is there and not being closed.
  virtual bool isOpen() const = 0;

  /// Whether the page's script waits for a reply, so that the page answers nothing.
  virtual bool standsStill() const = 0;

  /// Closes the page. Only the first reason counts.
  virtual void end(int result, const std::string& error) = 0;

  /// The page closes itself, and leaves these.
  virtual void exit(int result, std::map<std::string, std::string> properties) = 0;

  /// A line that was held has been told; what waited for it may go on.
  virtual void onLineTold() = 0;

  /// Keeps the invocation and its parts as long as it is held.
  virtual std::shared_ptr<void> keep() = 0;

 protected:
  ~PageOwner() = default;
};

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_PAGE_OWNER_H
