/// Says what a running application does, as it happens: as lines to read or as a story in JSON, on
/// standard output; and into whatever listens to the story.
#ifndef WZ_REPORTS_RUN_REPORT_H
#define WZ_REPORTS_RUN_REPORT_H

#include <atomic>
#include <map>
#include <set>
#include <string>
#include <utility>

#include "support/mutex.h"
#include "workstation/browser/browser_control.h"
#include "wz/reports/story.h"
#include "wz/words/bus_messages.h"
#include "zelipc/zelipc.h"

namespace wz {

/// What is launched.
struct Launch {
  std::string id, entry;
  std::map<std::string, std::string> parameters;
};

/// Any thread may call.
class RunReport {
 public:
  using Properties = std::map<std::string, std::string>;

  /// `terminalOption` is how the user has named the terminal, as a part of a command line that may
  /// be empty.
  RunReport(bool asJson, std::string terminalOption);

  /// Everything goes there too.
  Story& story() { return story_; }

  /// Nothing is shown to read.
  void setQuiet(bool isQuiet) { isQuiet_ = isQuiet; }

  /// The application is being ended by `wz` itself, for a reason that its user knows: nothing of
  /// the end is shown to read, until this is taken back. The story has it all the same.
  void setEndKnown(bool isKnown) { isEndKnown_ = isKnown; }

  /// Tools of the DevTools protocol find the page at `url`.
  void debugging(const std::string& url);

  void launched(const Launch& launch);
  void event(const workstation::PageEvent& event);

  /// A record of the application's log that the library has published.
  void record(const std::string& from, const std::string& to, const std::string& name,
              const zelipc::JSObject& record);

  /// A notification of this process for which nobody was there. The first of its kind is told with
  /// the command that would take or answer it.
  void undelivered(const Message& message);

  /// What has been done from outside of the page: "reloaded", with what has changed.
  void reloaded(const std::string& id, const std::string& what);

  void screenshot(const std::string& file);

  /// How the application `id` ended, with the error's text if there is one.
  void exited(const std::string& id, int result, const std::string& errorText,
              const Properties& properties);

  /// Whether an error or a rejection went uncaught, or a file of the application's own could not be
  /// loaded.
  bool sawError() const { return sawError_; }

 private:
  void show(const std::string& text);

  const bool asJson_;
  const std::string terminalOption_;
  Story story_;
  bool isQuiet_ = false;
  std::atomic<bool> isEndKnown_{false};
  std::atomic<bool> sawError_{false};

  using AddressAndName = std::pair<std::string, std::string>;
  wzapp::Mutex mutex_;
  std::set<AddressAndName> told_ WZAPP_GUARDED_BY(mutex_);     // that nobody received
  std::set<AddressAndName> awaited_ WZAPP_GUARDED_BY(mutex_);  // sent for a reply
};

}  // namespace wz

#endif  // WZ_REPORTS_RUN_REPORT_H
