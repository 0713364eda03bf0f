/// Remembers the names that were added last.
#ifndef WORKSTATION_BROWSER_ENGINE_RECENT_NAMES_H
#define WORKSTATION_BROWSER_ENGINE_RECENT_NAMES_H

#include <cstddef>
#include <deque>
#include <string>
#include <unordered_set>

namespace workstation {

/// A set of at most `limit` names, which forgets the oldest for a new one.
class RecentNames {
 public:
  explicit RecentNames(std::size_t limit) : limit_(limit) {}

  void add(const std::string& name) {
    if (!names_.insert(name).second) return;
    order_.push_back(name);
    if (order_.size() <= limit_) return;
    names_.erase(order_.front());
    order_.pop_front();
  }

  [[nodiscard]] bool contains(const std::string& name) const { return names_.count(name) != 0; }

 private:
  std::size_t limit_;
  std::unordered_set<std::string> names_;
  std::deque<std::string> order_;  // the oldest first
};

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_RECENT_NAMES_H
