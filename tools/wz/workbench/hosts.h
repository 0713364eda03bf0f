/// The host files that the workbench plays, each as a child `wz host -` that is switched on and
/// off. Delays and faults are written into the rules that the child gets; the file stays.
#ifndef WZ_WORKBENCH_HOSTS_H
#define WZ_WORKBENCH_HOSTS_H

#include <functional>
#include <list>
#include <memory>
#include <string>

#include "wz/workbench/answer.h"
#include "wz/workbench/applications.h"
#include "wz/workbench/child.h"
#include "wz/workbench/loop.h"
#include "wz/workbench/pages.h"
#include "wz/workbench/uploads.h"

namespace wz {

/// For the loop's thread. The questions are those of docs/workbench.md.
class Hosts {
 public:
  Hosts(Loop& loop, Pages& pages, const Uploads& uploads, const Applications& applications);
  ~Hosts();
  Hosts(const Hosts&) = delete;
  Hosts& operator=(const Hosts&) = delete;

  /// All, and the files that lie in the folders of applications.
  void list(const zelipc::JSObject& question, const Answer& answer) const;

  /// Makes a host, or changes one.
  void change(const zelipc::JSObject& question, const Answer& answer);

  [[nodiscard]] zelipc::JSObject state() const;

  /// Asks all to end; `onEnded` is called when they have.
  void endAll(std::function<void()> onEnded);

 private:
  struct Host;

  Problem findOrMake(const zelipc::JSObject& question, Host*& host);
  void apply(Host& host);
  void start(Host& host);
  void onLine(Host& host, const std::string& line);
  void onEnd(Host& host, const ChildEnd& end);
  void answerAll(Host& host);

  Loop& loop_;
  Pages& pages_;
  const Uploads& uploads_;
  const Applications& applications_;
  std::list<std::unique_ptr<Host>> hosts_;
  int lastHost_ = 0;
  std::function<void()> onEnded_;
};

/// The text of a host file, in one line, with its rules delayed by `delayMs` more, and with
/// `fault` ("silence", "error", "malformed" or "") in place of their answers.
[[nodiscard]] std::string hostText(const zelipc::JSObject& file, long long delayMs,
                                   const std::string& fault);

}  // namespace wz

#endif  // WZ_WORKBENCH_HOSTS_H
