/// Runs an application until it has ended: by itself, or because the user or the time limit ends
/// it. With a folder that is watched it is run anew whenever that is called for.
#ifndef WZ_TERMINAL_APPLICATION_RUN_H
#define WZ_TERMINAL_APPLICATION_RUN_H

#include <functional>
#include <optional>
#include <string>

#include "wz/reports/run_report.h"
#include "wz/terminal/application.h"
#include "wz/terminal/photographer.h"
#include "wz/terminal/run_events.h"
#include "wzapp/wzapp.h"

namespace wz {

/// How a run came to its end.
struct RunEnd {
  int result = 0;
  Properties properties;
  bool sawLastRecord = false;
  std::string errorText;
};

/// What is run, and how long at most.
struct RunPlan {
  Application application;
  std::string entry;
  Properties parameters;
  double timeoutSeconds = 0;  // 0: no limit
};

/// One launch after the other of the same application. For the main thread.
class ApplicationRun {
 public:
  /// The events are what the callbacks of the library and the platform put there.
  ApplicationRun(RunPlan plan, RunEvents& events, RunReport& report, Photographer& photographer);

  /// What the library answers: 0 when the application has been started.
  int start();

  /// Waits for the next event until it has been started, has ended, or something else has come that
  /// the caller has to act on. Nothing: the user wants `wz` to end, or `next` has come.
  std::optional<RunEvent> next(Deadline next);

  /// Handles the end, which `event` tells: waits for the last record and reports.
  void finish(const RunEvent& event);

  /// Cancels what runs and finishes it.
  void cancel();

  bool isRunning() const { return running_; }
  int invocation() const { return invocation_; }
  const RunEnd& end() const { return end_; }
  const RunPlan& plan() const { return plan_; }

 private:
  void note(const RunEvent& event);

  RunPlan plan_;
  RunEvents& events_;
  RunReport& report_;
  Photographer& photographer_;
  wzapp::counted_ptr<wzapp::WZApp> app_;
  bool running_ = false;
  int invocation_ = -1;
  RunEnd end_;
};

/// Runs it once. 0, or what wzAppRun has refused it with; the end is then in `run`.
int runOnce(ApplicationRun& run);

}  // namespace wz

#endif  // WZ_TERMINAL_APPLICATION_RUN_H
