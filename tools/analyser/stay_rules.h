/// What may stay installed: the rules of marketplace manifests and of removals, and the
/// dependencies.
#ifndef ANALYSER_STAY_RULES_H
#define ANALYSER_STAY_RULES_H

#include <set>
#include <string>

#include "analyser/installed_files.h"
#include "analyser/verdict.h"

namespace analyser {

/// Reports a message of that code, with what it does to the result.
void report(Verdict& verdict, const char* code, std::vector<std::string> names);

/// What both rules share. `removed` are the ids that they have taken away.
struct StayRun {
  const Terminal& terminal;
  InstalledFiles& files;
  Verdict& verdict;
  std::set<std::string> removed;
};

void applyMarketplaceRules(StayRun& run);
void checkDependencies(StayRun& run);

/// Fills in what is there at the end.
void listApplications(StayRun& run);

}  // namespace analyser

#endif  // ANALYSER_STAY_RULES_H
