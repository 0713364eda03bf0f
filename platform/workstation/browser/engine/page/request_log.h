/// The requests of a page that are under way, by the browser's ids: what is reported about the end
/// of one does not name its URL.
#ifndef WORKSTATION_BROWSER_ENGINE_REQUEST_LOG_H
#define WORKSTATION_BROWSER_ENGINE_REQUEST_LOG_H

#include <cstddef>
#include <map>
#include <string>

namespace workstation {

/// For one thread.
class RequestLog {
 public:
  struct Request {
    std::string url;
    bool isPage = false;  ///< For the document of the page's window itself.
  };

  void begin(const std::string& id, Request request) {
    // Requests that never end are a page's own doing; it shall not fill the host's memory.
    if (requests_.size() < kMostRequests) requests_[id] = std::move(request);
  }

  void end(const std::string& id) { requests_.erase(id); }

  /// Ends a request and returns what is known about it; false when nothing is.
  bool take(const std::string& id, Request& request) {
    const auto found = requests_.find(id);
    if (found == requests_.end()) return false;
    request = std::move(found->second);
    requests_.erase(found);
    return true;
  }

 private:
  static constexpr std::size_t kMostRequests = 10'000;
  std::map<std::string, Request> requests_;
};

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_REQUEST_LOG_H
