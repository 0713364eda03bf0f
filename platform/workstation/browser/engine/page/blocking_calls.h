/// The calls during which a page stands still: each waits for its reply and for the request with
/// which the page fetches it, and these come in either order.
#ifndef WORKSTATION_BROWSER_ENGINE_BLOCKING_CALLS_H
#define WORKSTATION_BROWSER_ENGINE_BLOCKING_CALLS_H

#include <map>
#include <optional>
#include <string>

namespace workstation {

/// For one thread.
class BlockingCalls {
 public:
  struct Answer {
    std::string requestId, body;
  };

  /// The page has called.
  void begin(long long id);

  /// The reply is there; the answer to make if its request is, too.
  std::optional<Answer> addReply(long long id, const std::string& body);

  /// The request is there; the answer to make if the reply is, too. `accepted` turns false when no
  /// more requests can be held.
  std::optional<Answer> addRequest(long long id, const std::string& requestId, bool& accepted);

  /// The page no longer wants to know.
  void drop(long long id) { calls_.erase(id); }

  /// Whether the page stands still.
  bool isHeld() const;

 private:
  struct Call {
    std::optional<std::string> requestId, body;
  };
  std::optional<Answer> takeIfComplete(std::map<long long, Call>::iterator call);

  std::map<long long, Call> calls_;
};

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_BLOCKING_CALLS_H
