/// What is done to a running page from outside: as its user would do it, or as its developer.
#ifndef WZ_TERMINAL_PAGE_ACTIONS_H
#define WZ_TERMINAL_PAGE_ACTIONS_H

#include <set>
#include <string>

#include "workstation/browser/browser_control.h"

namespace wz {

/// The error of a selector that is none.
inline constexpr char kNoSelector[] = "not a selector";

// Each of these takes a running invocation and returns false, with the reason in `error`, when it
// could not be done.

/// Whether there is an element.
[[nodiscard]] bool findElement(int invocation, const std::string& selector, bool& isThere,
                               std::string& error);

/// Loads the page anew.
[[nodiscard]] bool reloadPage(int invocation, std::string& error);

/// Loads the page's style sheets `names` (files of the application) anew without touching the rest;
/// false also when the page uses one of them in another way than by a link.
[[nodiscard]] bool reloadStyles(int invocation, const std::set<std::string>& names,
                                std::string& error);

/// What has come of an input.
enum class Acted {
  kDone,
  kNotYet,  ///< nothing was done, for example because the element is not there
  kLost,    ///< it was sent, but not confirmed: an application that ends by it does not
};

/// Clicks, presses a key or chooses out of a list, as PageEvent::kInput tells it. Unless it is
/// done, `error` says why.
[[nodiscard]] Acted actOnPage(int invocation, const workstation::PageEvent::Input& input,
                              std::string& error);

}  // namespace wz

#endif  // WZ_TERMINAL_PAGE_ACTIONS_H
