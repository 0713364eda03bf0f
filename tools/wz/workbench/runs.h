/// The applications that the workbench runs, each as a child `wz run`: their stories, their
/// pictures, what is pointed at and typed.
#ifndef WZ_WORKBENCH_RUNS_H
#define WZ_WORKBENCH_RUNS_H

#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>

#include "wz/workbench/answer.h"
#include "wz/workbench/child.h"
#include "wz/workbench/loop.h"
#include "wz/workbench/page_view.h"
#include "wz/workbench/pages.h"

namespace wz {

/// For the loop's thread. The questions are those of docs/workbench.md.
class Runs {
 public:
  /// Pictures and recordings go into the folder `saved`. `width` and `height` are the terminal's.
  Runs(Loop& loop, Pages& pages, std::string saved, int width, int height);
  ~Runs();
  Runs(const Runs&) = delete;
  Runs& operator=(const Runs&) = delete;

  void start(const zelipc::JSObject& question, const Answer& answer);
  void cancel(const zelipc::JSObject& question, const Answer& answer);
  void look(const zelipc::JSObject& question, const Answer& answer);
  void seen(const zelipc::JSObject& question, const Answer& answer);
  void point(const zelipc::JSObject& question, const Answer& answer);
  void press(const zelipc::JSObject& question, const Answer& answer);
  void takePicture(const zelipc::JSObject& question, const Answer& answer);

  /// The log of an application, as it was published since the workbench began.
  void tellLog(const zelipc::JSObject& question, const Answer& answer) const;

  /// A page has gone, and with it what it looked at.
  void forget(const SharedPage& page);

  /// Of all, as pages are told it.
  [[nodiscard]] zelipc::JSObject state() const;

  /// Asks all to end; `onEnded` is called when they have.
  void endAll(std::function<void()> onEnded);

 private:
  struct Run;

  Run* find(const zelipc::JSObject& question, const Answer& answer);
  Run* findLive(const zelipc::JSObject& question, const Answer& answer);
  void onLine(Run& run, const std::string& line);
  void onStoryLine(Run& run, const zelipc::JSObject& line);
  void onEnd(Run& run, const ChildEnd& end);
  void dropOld();
  [[nodiscard]] std::string freeName(const std::string& id, const char* ending) const;

  Loop& loop_;
  Pages& pages_;
  const std::string saved_;
  const int width_, height_;
  std::list<std::unique_ptr<Run>> runs_;
  std::uint32_t lastRun_ = 0;
  std::map<std::string, std::deque<zelipc::JSObject>> logs_;  // records, by application
  std::function<void()> onEnded_;
};

}  // namespace wz

#endif  // WZ_WORKBENCH_RUNS_H
