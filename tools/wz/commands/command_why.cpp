#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "support/text.h"
#include "wz/commands/commands.h"
#include "wz/commands/why_log.h"
#include "wz/reports/causes.h"
#include "wz/reports/history_output.h"
#include "wz/reports/installed_applications.h"
#include "wz/reports/json_document.h"
#include "wz/reports/output.h"
#include "wz/terminal/history_file.h"
#include "wz/terminal/manifests_there.h"
#include "wz/words/exit_code.h"
#include "wz/words/nearest.h"

namespace wz {
namespace {

using ChangeKind = HistoryChangeKind;

// A thing that happened to the application.
struct Step {
  const HistoryEvent* event;
  const HistoryChange* change;
};

// An import of the application, and who offers it.
struct Need {
  const char* kind;  // "trigger" or "interface"
  std::string id;
  bool isOptional = false;
  std::vector<std::string> exporters;
};

struct Story {
  std::string id;
  InstalledApplication now;
  std::vector<Step> steps;         // of the application itself, the oldest first
  const Step* decisive = nullptr;  // since when it is there, or why it is not
  std::vector<Cause> causes;
  std::vector<std::string> keeping;  // the smallest change
  std::vector<Need> needs;           // of what is installed
  std::vector<std::string> users;    // installed applications that import what it exports
};

// ---- What is known of it -----------------------------------------------------------------------

std::string nameOf(const ManifestThere& there) {
  return there.isApplication ? there.manifest.id : "the terminal's own software";
}

void addNeeds(const char* kind, const std::vector<Feature>& imports,
              std::vector<Feature> PackagedManifest::*exports,
              const std::vector<ManifestThere>& manifests, Story& story) {
  for (const Feature& import : imports) {
    Need need{kind, import.id, import.isOptional, {}};
    for (const ManifestThere& there : manifests) {
      for (const Feature& one : there.manifest.*exports) {
        if (one.id == import.id) need.exporters.push_back(nameOf(there));
      }
    }
    story.needs.push_back(std::move(need));
  }
}

bool imports(const std::vector<Feature>& imported, const std::vector<std::string>& exported) {
  return std::any_of(imported.begin(), imported.end(), [&exported](const Feature& feature) {
    return !feature.isOptional &&
           std::find(exported.begin(), exported.end(), feature.id) != exported.end();
  });
}

void findNeighbours(Story& story) {
  const std::vector<ManifestThere> manifests = findManifestsThere();
  const std::string upperId = wzapp::toUpper(story.id);
  for (const ManifestThere& there : manifests) {
    if (!there.isApplication) continue;
    const PackagedManifest& manifest = there.manifest;
    if (wzapp::toUpper(manifest.id) == upperId) {
      addNeeds("trigger", manifest.importedTriggers, &PackagedManifest::exportedTriggers, manifests,
               story);
      addNeeds("interface", manifest.importedInterfaces, &PackagedManifest::exportedInterfaces,
               manifests, story);
    } else if (imports(manifest.importedTriggers, story.now.exportedTriggers) ||
               imports(manifest.importedInterfaces, story.now.exportedInterfaces)) {
      story.users.push_back(manifest.id);
    }
  }
}

void findSteps(const History& history, Story& story) {
  const std::string upperId = wzapp::toUpper(story.id);
  for (const HistoryEvent& event : history.events) {
    for (const HistoryChange& change : event.changes) {
      if (wzapp::toUpper(change.id) != upperId) continue;
      if (change.thing == HistoryThing::kApplication) story.steps.push_back({&event, &change});
      if (change.id != story.id && story.now.id.empty()) story.id = change.id;
    }
  }
}

// Whether what was missing then is exported by now.
bool isThereByNow(const Cause& cause, const std::vector<ManifestThere>& manifests) {
  const bool isTrigger = cause.code == "WZ-0514";
  if ((!isTrigger && cause.code != "WZ-0515") || cause.values.empty()) return false;
  const auto exports =
      isTrigger ? &PackagedManifest::exportedTriggers : &PackagedManifest::exportedInterfaces;
  return std::any_of(manifests.begin(), manifests.end(), [&](const ManifestThere& there) {
    const std::vector<Feature>& features = there.manifest.*exports;
    return std::any_of(features.begin(), features.end(),
                       [&](const Feature& one) { return one.id == cause.values[0]; });
  });
}

void findSmallestChange(Story& story) {
  const std::vector<ManifestThere> manifests = findManifestsThere();
  std::vector<Cause> standing;
  for (const Cause& cause : story.causes) {
    if (!isThereByNow(cause, manifests)) standing.push_back(cause);
  }
  story.keeping = smallestChange(story.id, standing);
  if (standing.empty() && !story.causes.empty()) {
    story.keeping = {"none: what was missing is exported by now, so install it again"};
  }
}

// A refusal of a newer one leaves what is installed as it is.
void decide(const History& history, Story& story) {
  for (const Step& step : story.steps) {
    const ChangeKind kind = step.change->kind;
    const bool brings = kind == ChangeKind::kAppeared || kind == ChangeKind::kChanged;
    if (brings == story.now.isInstalled) story.decisive = &step;
  }
  if (story.decisive == nullptr || story.now.isInstalled) return;
  const Step& step = *story.decisive;
  story.causes = causesOf(*step.change, step.event->number, history.events);
  findSmallestChange(story);
}

Story tellStory(const std::string& id, const History& history,
                const InstalledApplications& applications) {
  Story story;
  story.id = id;
  const auto found = applications.find(wzapp::toUpper(id));
  if (found != applications.end() && found->second.isInstalled) {
    story.now = found->second;
    story.id = story.now.id;
    findNeighbours(story);
  }
  findSteps(history, story);
  decide(history, story);
  return story;
}

std::string nearestKnown(const std::string& id, const History& history,
                         const InstalledApplications& applications) {
  std::vector<std::string> ids;
  for (const auto& [upperId, application] : applications) ids.push_back(application.id);
  for (const HistoryEvent& event : history.events) {
    for (const HistoryChange& change : event.changes) ids.push_back(change.id);
  }
  return nearest(id, ids);
}

// ---- In words ----------------------------------------------------------------------------------

std::string digestOf(const Step& step) {
  for (const HistoryPackage& package : step.event->packages) {
    if (package.file == step.change->package) return package.sha256;
  }
  return {};
}

std::string whenText(const Step& step) {
  std::string text = "event " + std::to_string(step.event->number) + ", " + step.event->time +
                     ": " + changeText(*step.change);
  if (!step.change->package.empty()) text += ", by " + step.change->package;
  const std::string digest = digestOf(step);
  return digest.empty() ? text : text + " (sha256 " + digest + ")";
}

void printPresent(const Story& story) {
  printLine(story.now.id + (story.now.version.empty() ? "" : " " + story.now.version) +
            " is installed");
  printLine(story.decisive == nullptr
                ? std::string("  since when is not known: no event of the history tells of it")
                : "  since " + whenText(*story.decisive));
  printLine(story.now.marketplaceFolder.empty()
                ? std::string("  without a marketplace manifest: the next installation removes it")
                : "  its marketplace manifest lists " +
                      (story.now.sponsors.empty() ? "no sponsor" : joined(story.now.sponsors)));
  for (const Need& need : story.needs) {
    printLine(std::string("  it imports the ") + need.kind + " " + need.id +
              (need.isOptional ? " (optional)" : "") + ", " +
              (need.exporters.empty() ? "which nobody exports"
                                      : "exported by " + joined(need.exporters)));
  }
  if (!story.users.empty()) {
    printLine("  what it exports is imported by " + joined(story.users));
  }
}

void printAbsent(const Story& story) {
  printLine(story.id + " is not installed");
  printLine("  " + whenText(*story.decisive));
  if (story.causes.empty()) {
    printLine(story.decisive->event->isInterrupted ? "  the run was interrupted before its end"
                                                   : "  it was asked for");
  }
  printCauses(story.causes, "  ");
  if (!story.keeping.empty()) printLine("the smallest change that would keep it:");
  for (const std::string& change : story.keeping) printLine("  " + change);
}

void printOlderSteps(const Story& story) {
  bool isFirst = true;
  for (const Step& step : story.steps) {
    if (&step == story.decisive) continue;
    if (isFirst) printLine("also in its history:");
    isFirst = false;
    printLine("  " + whenText(step));
  }
}

// ---- As JSON -----------------------------------------------------------------------------------

void putStep(JsonWriter& writer, const Step& step) {
  putNumber(writer, "event", step.event->number);
  putText(writer, "time", step.event->time);
  putText(writer, "change", historyChangeText(step.change->kind));
  putText(writer, "versionBefore", step.change->versionBefore);
  putText(writer, "versionNow", step.change->versionNow);
  putText(writer, "package", step.change->package);
  putText(writer, "archive", step.change->archive);
  putText(writer, "sha256", digestOf(step));
}

void putStory(JsonWriter& writer, const Story& story) {
  putText(writer, "id", story.id);
  putFlag(writer, "installed", story.now.isInstalled);
  putText(writer, "version", story.now.version);
  writer.Key("since");
  if (story.decisive == nullptr) {
    writer.Null();
  } else {
    writer.StartObject();
    putStep(writer, *story.decisive);
    writer.EndObject();
  }
  putCauses(writer, "causes", story.causes);
  putTexts(writer, "smallestChange", story.keeping);
  putRows(writer, "imports", story.needs, [&writer](const Need& need) {
    putText(writer, "kind", need.kind);
    putText(writer, "id", need.id);
    putFlag(writer, "optional", need.isOptional);
    putTexts(writer, "exporters", need.exporters);
  });
  putTexts(writer, "users", story.users);
  putRows(writer, "steps", story.steps, [&writer](const Step& step) { putStep(writer, step); });
}

int explainApplication(const WhyOptions& options) {
  History history;
  if (!enterToReadHistory(options.terminal, history)) return kEnvironment;
  const InstalledApplications applications = findInstalledApplications();
  const Story story = tellStory(options.id, history, applications);
  if (!story.now.isInstalled && story.decisive == nullptr) {
    const std::string meant = nearestKnown(options.id, history, applications);
    printMessage(options.id + " is not installed, and no event of the history tells of it" +
                 (meant.empty() ? "" : "; did you mean " + meant + "?"));
    return kApplicationFailed;
  }
  if (options.asJson) {
    printJsonDocument("why", true, {}, [&story](JsonWriter& writer) { putStory(writer, story); });
    return kDone;
  }
  if (story.now.isInstalled) {
    printPresent(story);
  } else {
    printAbsent(story);
  }
  printOlderSteps(story);
  return kDone;
}

}  // namespace

int why(const WhyOptions& options) {
  if (!options.log.empty()) return explainLog(options);
  if (!options.id.empty()) return explainApplication(options);
  printMessage(
      "name an application, or --log and the file of an installer's log; see wz why "
      "--help");
  return kUsage;
}

}  // namespace wz
