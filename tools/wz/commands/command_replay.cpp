#include <cstddef>
#include <string>

#include "workstation/browser/browser_control.h"
#include "workstation/browser/engine/page/result_codes.h"
#include "wz/commands/commands.h"
#include "wz/commands/run_setup.h"
#include "wz/reports/json_document.h"
#include "wz/reports/output.h"
#include "wz/reports/readable_file.h"
#include "wz/reports/recording.h"
#include "wz/reports/run_report.h"
#include "wz/terminal/application.h"
#include "wz/terminal/interrupt.h"
#include "wz/terminal/recorded_host.h"
#include "wz/terminal/replay.h"
#include "wz/terminal/run_listeners.h"
#include "wz/terminal/session.h"
#include "wz/words/exit_code.h"

namespace wz {
namespace {

void printJson(const std::string& file, const Replay& replay, const Recording& recording) {
  printJsonDocument("replay", replay.differences().empty() && !interrupted(), {},
                    [&](JsonWriter& writer) {
                      putText(writer, "file", file);
                      putNumber(writer, "lines", recording.lines.size());
                      putTexts(writer, "differences", replay.differences());
                      putFlag(writer, "interrupted", interrupted());
                    });
}

std::string lineCount(const Recording& recording) {
  const std::size_t count = recording.lines.size();
  return std::to_string(count) + (count == 1 ? " line" : " lines");
}

int sayOutcome(const ReplayOptions& options, const Replay& replay, const Recording& recording) {
  const std::string& file = options.recording;
  if (options.asJson) {
    printJson(file, replay, recording);
  } else {
    for (const std::string& difference : replay.differences()) printLine(file + ": " + difference);
  }
  if (interrupted()) {
    printMessage("interrupted; the replay has not come to its end");
    return kApplicationFailed;
  }
  if (!replay.differences().empty()) {
    const std::size_t count = replay.differences().size();
    printMessage(std::to_string(count) + (count == 1 ? " difference" : " differences"));
    return kApplicationFailed;
  }
  if (!options.asJson) {
    printSuccess(file + ": as recorded, " + lineCount(recording));
  }
  return kDone;
}

}  // namespace

int replay(const ReplayOptions& options) {
  if (!isReadableFile(options.recording)) return kEnvironment;
  Recording recording;
  std::string error;
  if (!readRecording(options.recording, recording, error)) {
    printMessage(error);
    return kUsage;
  }
  watchInterrupts();
  outliveReader();
  if (!enterChosenTerminal(options.terminal) || !prepareConfigRoot()) return kEnvironment;
  StandIn standIn;
  Application application;
  std::string folder;
  const int code = findApplication(options.application, "", standIn, folder, application);
  if (code != kDone) return code;
  Session session;
  if (!session.beginBus()) return kEnvironment;

  RunReport report(false, "");
  report.setQuiet(true);
  RunEvents events;
  report.story().addListener([&events](const std::string& line) {
    events.put({RunEvent::Kind::kStory, 0, {}, line});
  });
  Photographer photographer("", {}, [] {});
  workstation::BrowserOptions browser;
  browser.headless = !options.window;
  workstation::setBrowserOptions(browser);
  const RunListeners listeners(events, report);
  const RecordedHost host(recording);
  ApplicationRun run({application, recording.launch.entry, recording.launch.parameters, 0}, events,
                     report, photographer);
  Replay replay(recording, run, options.toleranceSeconds);
  if (const int refused = replay.run(); refused != 0)
    return explainStart(refused, recording.launch.entry, application);
  if (run.end().result == workstation::kNoBrowser) {
    printMessage(run.end().errorText);
    return kEnvironment;
  }
  return sayOutcome(options, replay, recording);
}

}  // namespace wz
