/// A tool of the Chrome DevTools Protocol that is offered the page of one invocation, and nothing
/// else of the browser.
///
/// The tool speaks to the browser's page in sessions of its own, so that what it switches on is not
/// in the way of others. Commands of the browser as a whole are answered as if the browser had that
/// one page; what would open, watch or change anything else is refused. Everything here runs on the
/// connection's thread.
#ifndef WORKSTATION_BROWSER_ENGINE_DEBUG_CLIENT_H
#define WORKSTATION_BROWSER_ENGINE_DEBUG_CLIENT_H

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "workstation/browser/browser_control.h"
#include "workstation/browser/engine/protocol/cdp_connection.h"

namespace workstation {

class DebugClient : public std::enable_shared_from_this<DebugClient> {
 public:
  /// What it is for, and who learns of the sessions that it has.
  struct Page {
    std::string target, context;
    std::function<void(const std::string& session)> onSession;
  };
  using Opened = std::function<void(bool ok, const std::string& error)>;

  DebugClient(std::shared_ptr<CdpConnection> connection, Page page, DebugScope scope,
              DebugListener listener);

  /// Calls `opened` as soon as the tool may send.
  void open(const Opened& opened);

  /// A message of the tool.
  void onMessage(const std::string& text);

  bool hasSession(const std::string& session) const { return sessions_.count(session) != 0; }

  /// Whether the page owes the tool an answer.
  bool isWaiting() const { return waiting_ > 0; }

  /// An event of one of the sessions.
  void onEvent(const CdpEvent& event);

  /// The tool or the page has gone: gives the sessions up and tells the listener.
  void end();

 private:
  struct Call {
    int id = 0;
    std::string session;  // as the tool names it
    std::string method;
    const JsonValue& params;
  };
  using Answer = void (DebugClient::*)(const Call& call);
  struct BrowserRow;
  static const BrowserRow kBrowserRows[];

  // Commands of the browser as a whole.
  void onBrowserCall(const Call& call);
  void answerNothing(const Call& call);
  void forward(const Call& call);
  void forwardForPage(const Call& call);
  void forwardForContext(const Call& call);
  void setAutoAttach(const Call& call);
  void setDiscover(const Call& call);
  void getTargets(const Call& call);
  void attach(const Call& call);
  void detach(const Call& call);

  void onPageCall(const Call& call);
  void attachToPage(std::function<void(const CdpReply& reply)> then);
  void withPageInfo(std::function<void(const std::string& info)> then);
  void pass(const Call& call, const std::string& session, const JsonObject& params);
  void addSession(const std::string& session);
  void reply(int id, const std::string& session, const std::string& resultMember);
  void replyResult(const Call& call, const std::string& result);
  void refuse(const Call& call, const std::string& why);
  void tellEvent(const std::string& method, const JsonObject& params);

  const std::shared_ptr<CdpConnection> connection_;
  const Page page_;
  const DebugScope scope_;
  DebugListener listener_;
  std::string root_;  // session that the tool does not name; empty: the browser as a whole
  std::set<std::string> sessions_;
  int waiting_ = 0;  // calls without an answer
  bool ended_ = false;
};

/// The tools of one invocation.
class DebugClients {
 public:
  void add(std::shared_ptr<DebugClient> client) { clients_.push_back(std::move(client)); }

  void remove(const std::shared_ptr<DebugClient>& client);

  /// False when the event is of none of their sessions.
  bool onEvent(const CdpEvent& event);

  bool isEmpty() const { return clients_.empty(); }
  bool isWaiting() const;

  void endAll();

 private:
  std::vector<std::shared_ptr<DebugClient>> clients_;
};

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_DEBUG_CLIENT_H
