#include "wz/terminal/application_run.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "wz/reports/lost_output.h"
#include "wz/reports/output.h"

namespace wz {
namespace {

// The last record is sent before the application's end is told, but comes by another thread.
constexpr std::chrono::seconds kLastRecordTime{2};

void onExit(void* events, int result, const Properties& properties) {
  static_cast<RunEvents*>(events)->put({RunEvent::Kind::kEnded, result, properties});
}

}  // namespace

ApplicationRun::ApplicationRun(RunPlan plan, RunEvents& events, RunReport& report,
                               Photographer& photographer)
    : plan_(std::move(plan)), events_(events), report_(report), photographer_(photographer) {}

int ApplicationRun::start() {
  const Application& application = plan_.application;
  end_ = {};
  invocation_ = -1;
  report_.launched({application.id, plan_.entry, plan_.parameters});
  const int code = wzapp::wzAppRun(app_, 0, application.manifest.c_str(), plan_.entry.c_str(),
                                   plan_.parameters, onExit, &events_);
  running_ = code == 0;
  return code;
}

void ApplicationRun::note(const RunEvent& event) {
  switch (event.kind) {
    case RunEvent::Kind::kOpened:
      invocation_ = event.number;
      return photographer_.onOpened(event.number);
    case RunEvent::Kind::kPainted:
      return photographer_.onPainted();
    case RunEvent::Kind::kLastPicture:
      return photographer_.onLastPicture(event.text, event.failed);
    case RunEvent::Kind::kLastRecord:
      end_.sawLastRecord = true;
      end_.errorText = event.text;
      return;
    default:
      return;
  }
}

std::optional<RunEvent> ApplicationRun::next(Deadline next) {
  for (;;) {
    const Deadline due = running_ ? photographer_.due() : kNoDeadline;
    std::optional<RunEvent> event = events_.take(std::min(next, due));
    const auto now = std::chrono::steady_clock::now();
    if (!event && !interrupted() && now >= due && now < next) {
      photographer_.onTime();
      continue;
    }
    if (event) note(*event);
    return event;
  }
}

void ApplicationRun::finish(const RunEvent& event) {
  running_ = false;
  end_.result = event.number;
  end_.properties = event.properties;
  const Deadline deadline = std::chrono::steady_clock::now() + kLastRecordTime;
  while (!end_.sawLastRecord) {
    const std::optional<RunEvent> further = events_.take(deadline, false);
    if (!further) break;
    note(*further);
  }
  report_.exited(plan_.application.id, end_.result, end_.errorText, end_.properties);
}

void ApplicationRun::cancel() {
  if (!running_) return;
  wzapp::wzAppCancel(app_);
  for (;;) {
    const std::optional<RunEvent> event = events_.take(kNoDeadline, false);
    if (event->kind == RunEvent::Kind::kEnded) return finish(*event);
    note(*event);
  }
}

int runOnce(ApplicationRun& run) {
  const Deadline limit = deadlineIn(run.plan().timeoutSeconds);
  if (const int code = run.start(); code != 0) return code;
  while (run.isRunning()) {
    const std::optional<RunEvent> event = run.next(limit);
    if (event && event->kind == RunEvent::Kind::kEnded) run.finish(*event);
    if (event) continue;
    if (!hasLostOutput()) {
      printMessage(interrupted() ? "interrupted; the application is being cancelled"
                                 : "time is up; the application is being cancelled");
    }
    run.cancel();
  }
  return 0;
}

}  // namespace wz
