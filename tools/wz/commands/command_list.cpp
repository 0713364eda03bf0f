#include <algorithm>
#include <string>
#include <vector>

#include "support/text.h"
#include "wz/commands/commands.h"
#include "wz/reports/diagnostic.h"
#include "wz/reports/installed_applications.h"
#include "wz/reports/json_document.h"
#include "wz/reports/output.h"
#include "wz/terminal/application.h"
#include "wz/terminal/session.h"
#include "wz/words/exit_code.h"

namespace wz {
namespace {

const RunningFolder* standInFor(const std::string& upperId,
                                const std::vector<RunningFolder>& running) {
  const auto isIt = [&](const RunningFolder& one) { return wzapp::toUpper(one.id) == upperId; };
  const auto found = std::ranges::find_if(running, isIt);
  return found == running.end() ? nullptr : &*found;
}

void printWords(const InstalledApplications& applications,
                const std::vector<RunningFolder>& running) {
  bool isEmpty = true;
  for (const auto& [upperId, application] : applications) {
    if (!application.isInstalled) continue;
    isEmpty = false;
    std::string line = application.id;
    if (!application.version.empty()) line += " " + application.version;
    std::string sponsors;
    for (const std::string& sponsor : application.sponsors) sponsors += " " + sponsor;
    line += application.marketplaceFolder.empty()
                ? "  no marketplace manifest: the next installation removes it"
                : "  for" + (sponsors.empty() ? " no sponsor" : sponsors);
    const RunningFolder* const standIn = standInFor(upperId, running);
    if (standIn != nullptr) line += "; " + standIn->folder + " is being run in its place";
    printLine(line);
  }
  if (isEmpty) printLine("no application is installed");
}

void printJson(const InstalledApplications& applications,
               const std::vector<RunningFolder>& running) {
  printJsonDocument("list", true, {}, [&](JsonWriter& writer) {
    writer.Key("applications");
    writer.StartArray();
    for (const auto& [upperId, application] : applications) {
      if (!application.isInstalled) continue;
      writer.StartObject();
      putText(writer, "id", application.id);
      putText(writer, "version", application.version);
      putFlag(writer, "hasMarketplaceManifest", !application.marketplaceFolder.empty());
      putTexts(writer, "sponsors", application.sponsors);
      putFlag(writer, "hasStandIn", standInFor(upperId, running) != nullptr);
      writer.EndObject();
    }
    writer.EndArray();
    writer.Key("standIns");
    writer.StartArray();
    for (const RunningFolder& one : running) {
      writer.StartObject();
      putText(writer, "id", one.id);
      putText(writer, "folder", one.folder);
      writer.EndObject();
    }
    writer.EndArray();
  });
}

}  // namespace

int listApplications(const ListOptions& options) {
  if (!enterChosenTerminal(options.terminal)) return kEnvironment;
  const InstalledApplications applications = findInstalledApplications();
  const std::vector<RunningFolder> running = runningFolders();
  if (options.asJson) {
    printJson(applications, running);
  } else {
    printWords(applications, running);
  }
  return kDone;
}

}  // namespace wz
