#include <string>

#include "wz/commands/commands.h"
#include "wz/reports/installed_applications.h"
#include "wz/reports/json_output.h"
#include "wz/reports/output.h"
#include "wz/terminal/session.h"
#include "wz/words/exit_code.h"

namespace wz {
namespace {

void printWords(const InstalledApplications& applications) {
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
    printLine(line);
  }
  if (isEmpty) printLine("no application is installed");
}

void printJson(const InstalledApplications& applications) {
  printJsonObject([&applications](JsonWriter& writer) {
    writer.Key("applications");
    writer.StartArray();
    for (const auto& [upperId, application] : applications) {
      if (!application.isInstalled) continue;
      writer.StartObject();
      putText(writer, "id", application.id);
      putText(writer, "version", application.version);
      putFlag(writer, "hasMarketplaceManifest", !application.marketplaceFolder.empty());
      putTexts(writer, "sponsors", application.sponsors);
      writer.EndObject();
    }
    writer.EndArray();
  });
}

}  // namespace

int listApplications(const ListOptions& options) {
  if (!enterChosenTerminal(options.terminal)) return kEnvironment;
  const InstalledApplications applications = findInstalledApplications();
  if (options.asJson) {
    printJson(applications);
  } else {
    printWords(applications);
  }
  return kDone;
}

}  // namespace wz
