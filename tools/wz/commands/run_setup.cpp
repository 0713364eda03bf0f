#include "wz/commands/run_setup.h"

#include <filesystem>
#include <system_error>

#include "packaging/application_folder.h"
#include "workstation/terminal/terminal_directory.h"
#include "workstation/terminal/terminal_profile.h"
#include "wz/check/folder_check.h"
#include "wz/check/terminal_engine.h"
#include "wz/reports/diagnostic.h"
#include "wz/reports/installed_applications.h"
#include "wz/reports/output.h"
#include "wz/terminal/older_layout.h"
#include "wz/words/exit_code.h"
#include "wzapp/wzapp.h"

namespace wz {

// The library makes the configuration root, and moves the applications of an older layout into it,
// at the start of every run; without a manifest it then stops. Done first, so that what is looked
// for or placed there is not in the way of that move.
bool prepareConfigRoot() {
  // Nobody is to find the terminal locked for nothing.
  if (hasOlderLayout()) {
    // Where another program is changing the terminal, that one does it.
    workstation::TerminalLock lock;
    std::string ignored;
    if (lock.acquire(workstation::terminalDirectory(), ignored)) migrateOlderLayout();
  }
  constexpr int kUnusableRoot = 5;
  wzapp::counted_ptr<wzapp::WZApp> none;
  return wzapp::wzAppRun(none, 0, nullptr, nullptr, {}, nullptr, nullptr) != kUnusableRoot;
}

namespace {

bool isFolder(const std::string& path) {
  std::error_code failure;
  return std::filesystem::is_directory(path, failure);
}

// The folder stands in for an installed application, so that what runs is what is being worked on.
int placeFolder(const std::string& path, StandIn& standIn, std::string& folder,
                Application& application) {
  std::error_code failure;
  folder = std::filesystem::canonical(path, failure).string();
  if (failure || !isFolder(folder)) {
    printMessage("there is no folder " + path);
    return kEnvironment;
  }
  packaging::Findings findings;
  const bool isPlaced = standIn.place(folder, findings);
  CheckOptions how;
  if (!readTerminalEngine(workstation::terminalDirectory(), how.engine)) return kEnvironment;
  for (const Diagnostic& diagnostic : checkFolder(folder, how).diagnostics) {
    printMessage(textOf(diagnostic));
  }
  // What has a code is said by the check.
  for (const packaging::Finding& error : findings.errors) {
    if (error.code.empty()) printMessage(error.text);
  }
  application = standIn.application();
  if (isPlaced) return kDone;
  return application.id.empty() ? kApplicationFailed : kEnvironment;
}

}  // namespace

// A path with a "/" is a folder; of a plain name an installed application comes before a folder.
int findApplication(const std::string& name, const std::string& namedFolder, StandIn& standIn,
                    std::string& folder, Application& application) {
  if (!namedFolder.empty()) return placeFolder(namedFolder, standIn, folder, application);
  const bool isPath = name.find('/') != std::string::npos;
  if (!isPath && findInstalled(name, application)) {
    if (isFolder(name)) {
      printNote("running the installed application " + name +
                "; the folder of that name is run by: wz run ./" + name);
    }
    return kDone;
  }
  if (isPath || isFolder(name)) return placeFolder(name, standIn, folder, application);
  printMessage("there is no application " + name +
               ": neither is one of that id installed, nor is there a folder of that name" +
               suggestedId(findInstalledApplications(), name));
  return kUsage;
}

int explainStart(int code, const std::string& entry, const Application& application) {
  constexpr int kUnreadable = 2, kNoPage = 3;
  if (code == kUnreadable) {
    printMessage(application.manifest + " is no manifest");
    return kApplicationFailed;
  }
  if (code == kNoPage) {
    printMessage(application.manifest + " names no page for the entry " + entry);
    return kApplicationFailed;
  }
  printMessage("the application could not be started (" + std::to_string(code) + ")");
  return kEnvironment;
}

}  // namespace wz
