#include <algorithm>
#include <string>
#include <vector>

#include "workstation/terminal/terminal_profile.h"
#include "wz/commands/commands.h"
#include "wz/doctor/leftovers.h"
#include "wz/doctor/machine_check.h"
#include "wz/reports/json_document.h"
#include "wz/reports/output.h"
#include "wz/words/drop_if.h"
#include "wz/words/exit_code.h"

namespace wz {
namespace {

constexpr char kLeftover[] = "WZ-1009";

// Takes away what is mended by it.
void repair(std::vector<MachineFact>& facts) {
  for (MachineFact& fact : facts) {
    const std::size_t removed = dropIf(fact.diagnostics, [](const Diagnostic& diagnostic) {
      return diagnostic.code == kLeftover && removeLeftover(diagnostic.evidence);
    });
    if (removed > 0) fact.found = "removed " + std::to_string(removed);
  }
}

void printWords(const std::vector<MachineFact>& facts) {
  for (const MachineFact& fact : facts) {
    if (fact.diagnostics.empty() && volume() == Volume::kQuiet) continue;
    const std::string begin = fact.diagnostics.empty()      ? "ok       "
                              : hasErrors(fact.diagnostics) ? "missing  "
                                                            : "note     ";
    const std::string found =
        fact.diagnostics.empty() ? fact.found : fact.diagnostics.front().message;
    printLine(begin + fact.name + ": " + found);
    for (const Diagnostic& diagnostic : fact.diagnostics) {
      printLine("           found: " + diagnostic.evidence);
      if (volume() == Volume::kVerbose) {
        printLine("           rule: " + std::string(codeOf(diagnostic.code).rule));
      }
      printLine("           repair: " + repairOf(diagnostic) + " [" + diagnostic.code + "]");
    }
  }
}

void printJson(const std::vector<MachineFact>& facts, const Diagnostics& diagnostics) {
  printJsonDocument("doctor", !hasErrors(diagnostics), diagnostics, [&facts](JsonWriter& writer) {
    writer.Key("facts");
    writer.StartArray();
    for (const MachineFact& fact : facts) {
      writer.StartObject();
      putText(writer, "name", fact.name);
      putFlag(writer, "good", fact.diagnostics.empty());
      putText(writer, "found", fact.found);
      writer.EndObject();
    }
    writer.EndArray();
  });
}

}  // namespace

int doctor(const DoctorOptions& options) {
  workstation::TerminalProfile profile;
  workstation::ProfileError problem;
  if (!options.terminal.empty() &&
      !workstation::loadTerminalProfile(options.terminal, profile, problem)) {
    printMessage(problem.text());
    return kEnvironment;
  }
  const std::string terminal =
      options.terminal.empty() ? workstation::terminalDirectory() : options.terminal;
  std::vector<MachineFact> facts = checkMachine(terminal);
  if (options.repairs) repair(facts);
  Diagnostics diagnostics;
  for (const MachineFact& fact : facts) {
    diagnostics.insert(diagnostics.end(), fact.diagnostics.begin(), fact.diagnostics.end());
  }
  if (options.asJson) {
    printJson(facts, diagnostics);
  } else {
    printWords(facts);
  }
  return hasErrors(diagnostics) ? kEnvironment : kDone;
}

}  // namespace wz
