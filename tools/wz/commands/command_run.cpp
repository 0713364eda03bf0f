#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <utility>

#include "packaging/application_folder.h"
#include "runtime/manifest_entry.h"
#include "workstation/browser/browser_control.h"
#include "workstation/browser/engine/page/result_codes.h"
#include "wz/commands/commands.h"
#include "wz/commands/run_setup.h"
#include "wz/reports/lost_output.h"
#include "wz/reports/output.h"
#include "wz/reports/recording.h"
#include "wz/reports/run_report.h"
#include "wz/terminal/application.h"
#include "wz/terminal/application_run.h"
#include "wz/terminal/interrupt.h"
#include "wz/terminal/remote_debugging.h"
#include "wz/terminal/run_listeners.h"
#include "wz/terminal/screen_trial.h"
#include "wz/terminal/session.h"
#include "wz/terminal/watched_run.h"
#include "wz/words/exit_code.h"
#include "wz/words/shell_word.h"

namespace wz {
namespace {

// ---- What is to be run -------------------------------------------------------------------------

bool readParameters(const RunOptions& options, Properties& parameters) {
  for (const std::string& parameter : options.parameters) {
    const std::size_t equals = parameter.find('=');
    if (equals == 0 || equals == std::string::npos) {
      printMessage("--param is KEY=VALUE, not " + parameter);
      return false;
    }
    parameters[parameter.substr(0, equals)] = parameter.substr(equals + 1);
  }
  return true;
}

bool checkOptions(const RunOptions& options, PictureTime& pictureTime) {
  if (options.screenshot.empty() && !options.screenshotAt.empty()) {
    printMessage("--screenshot-at says when; where the picture goes is --screenshot FILE");
    return false;
  }
  if (!readPictureTime(options.screenshotAt, pictureTime)) {
    printMessage("--screenshot-at is exit, a time such as 2s or 300ms, or a CSS selector, not " +
                 options.screenshotAt);
    return false;
  }
  if (options.devtools && options.headless) {
    printMessage(
        "--devtools needs the window that --headless leaves out; without one, "
        "--remote-debugging offers the page to tools");
    return false;
  }
  if (options.watches && !options.recording.empty()) {
    printMessage("--record is of one run from its start to its end, --watch of many");
    return false;
  }
  return checkScreen(options.screen, options.locale);
}

// That there can be no picture is said before anybody has waited for it. False after a message.
bool checkPicture(const std::string& file) {
  if (file.empty()) return true;
  const std::string folder = std::filesystem::path(file).parent_path().string();
  const bool isFolder = std::filesystem::is_directory(file);
  if (!isFolder && access(folder.c_str(), W_OK | X_OK) == 0) return true;
  printMessage("cannot write " + file + ": " +
               (isFolder ? "it is a folder" : std::strerror(errno)));
  return false;
}

// ---- While it runs -----------------------------------------------------------------------------

workstation::BrowserOptions browserOptions(const RunOptions& options,
                                           const PictureTime& pictureTime) {
  workstation::BrowserOptions browser;
  browser.headless = options.headless;
  browser.devtools = options.devtools;
  browser.locale = options.locale;
  browser.recordsInput = !options.recording.empty();
  browser.lastPicture = !options.screenshot.empty() && pictureTime.kind == PictureTime::Kind::kExit;
  if (const char* const lender = std::getenv(kBrowserLender)) browser.lender = lender;
  return browser;
}

int exitCode(const RunOptions& options, const RunEnd& end, const RunReport& report, bool pictured) {
  if (end.result == workstation::kNoBrowser) return kEnvironment;
  if (end.result != 0) return kApplicationFailed;
  if (!pictured) return kEnvironment;
  return options.failOnError && report.sawError() ? kApplicationFailed : kDone;
}

// A folder whose manifest has a mistake stays what it was until that is mended. What stands in for
// an installed application does so under one id, for as long as the process lives.
bool isStillRunnable(const std::string& folder, const Application& application) {
  packaging::Findings findings;
  wzapp::ManifestEntry entry;
  const bool isRead = packaging::checkManifestForm(application.manifest, findings);
  for (const packaging::Finding& error : findings.errors) printMessage(error.text);
  if (!isRead) return false;
  (void)wzapp::readManifestEntry(application.manifest.c_str(), "", entry);
  if (entry.appId == application.id) return true;
  printMessage(folder + " is the application " + entry.appId + " now, and " + application.id +
               " runs; end this and run it anew");
  return false;
}

}  // namespace

int runApplication(const RunOptions& given) {
  RunOptions options = given;
  if (options.application.empty() == options.folder.empty()) {
    printMessage("name an application, or its folder with --folder DIR");
    return kUsage;
  }
  Properties parameters;
  PictureTime pictureTime;
  if (!readParameters(options, parameters) || !checkOptions(options, pictureTime)) return kUsage;
  for (std::string* const file : {&options.screenshot, &options.recording}) {
    if (!file->empty()) *file = std::filesystem::absolute(*file).string();
  }
  watchInterrupts();
  outliveReader();
  whenOutputIsLost(askToEnd);  // nobody reads what it tells
  if (!enterChosenTerminal(options.terminal) || !tryScreen(options.screen) || !prepareConfigRoot())
    return kEnvironment;
  StandIn standIn;
  Application application;
  std::string folder;
  const int code =
      findApplication(options.application, options.folder, standIn, folder, application);
  if (code != kDone) return code;
  if (options.watches && folder.empty()) {
    printMessage("--watch follows a folder; " + options.application +
                 " is installed (./NAME is always a folder)");
    return kUsage;
  }
  if (!checkPicture(options.screenshot)) return kEnvironment;
  Session session;
  if (!session.beginBus()) return kEnvironment;

  RunReport report(options.asJson,
                   options.terminal.empty() ? "" : " --terminal " + shellWord(options.terminal));
  Recorder recorder;
  if (!options.recording.empty()) {
    std::string error;
    if (!recorder.begin(options.recording, {application.id, options.entry, parameters}, error)) {
      printMessage(error);
      return kEnvironment;
    }
    report.story().addListener([&](const std::string& line) { recorder.add(line); });
  }
  RunEvents events;
  Photographer photographer(options.screenshot, pictureTime,
                            [&] { report.screenshot(options.screenshot); });
  workstation::setBrowserOptions(browserOptions(options, pictureTime));
  RemoteDebugging debugging;
  if (options.remoteDebugging) {
    std::string error;
    if (!debugging.begin(error)) {
      printMessage(error);
      return kEnvironment;
    }
    report.debugging(debugging.url());
  }
  const RunListeners listeners(events, report,
                               [&](int invocation) { debugging.offer(invocation); });
  ApplicationRun run({application, options.entry, parameters, options.timeoutSeconds}, events,
                     report, photographer);
  if (options.watches) {
    const auto check = [&] { return isStillRunnable(folder, application); };
    return WatchedRun(folder, options.screenshot, run, events, report, check).run();
  }
  const int refused = runOnce(run);
  std::string unwritten;
  if (!options.recording.empty() && !recorder.finish(unwritten)) {
    printMessage("not everything could be written to " + options.recording + ": " + unwritten);
    return kEnvironment;
  }
  if (refused != 0) return explainStart(refused, options.entry, application);
  return exitCode(options, run.end(), report, photographer.finish());
}

}  // namespace wz
