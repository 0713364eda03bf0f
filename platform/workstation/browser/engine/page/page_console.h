/// What a page prints: its console, its uncaught errors, its dialogs.
#ifndef WORKSTATION_BROWSER_ENGINE_PAGE_CONSOLE_H
#define WORKSTATION_BROWSER_ENGINE_PAGE_CONSOLE_H

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "workstation/browser/engine/page/console_meter.h"
#include "workstation/browser/engine/page/page_owner.h"

namespace workstation {

/// Part of an invocation.
class PageConsole {
 public:
  using Now = std::function<ConsoleMeter::Clock::time_point()>;

  PageConsole(PageOwner& owner, const PageFacts& page, PageStory& story,
              Now now = ConsoleMeter::Clock::now)
      : owner_(owner), page_(page), story_(story), now_(std::move(now)) {}

  /// Takes an event of the page's session; false when it is about something else.
  bool onEvent(const CdpEvent& event);

  /// Another document begins with an empty console, and may print again.
  void beginAnew();

 private:
  using LineText = std::function<std::string(const std::map<std::size_t, std::string>& expanded)>;

  void onConsole(const JsonValue& params);
  void onException(const JsonValue& params);
  void onLogEntry(const JsonValue& params);
  void onDialog(const JsonValue& params);
  void showLine(PageEvent event, const JsonValue& args, LineText text);
  void showNoLonger(PageEvent event);
  void expandLine(PageEvent event, const std::vector<std::size_t>& indices, const JsonValue& args,
                  LineText text);
  void releaseValues();

  PageOwner& owner_;
  const PageFacts& page_;
  PageStory& story_;
  const Now now_;
  ConsoleMeter meter_;
  bool isMuted_ = false;                        // it has printed too much
  bool toldUncaught_ = false;                   // since then
  ConsoleMeter::Clock::time_point askAgain_{};  // what its objects hold: it was busy
  int groups_ = 0;                              // that are open
  int expanded_ = 0;                            // lines whose objects the browser still keeps
};

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_PAGE_CONSOLE_H
