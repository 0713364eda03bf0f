/// What may stay installed: the rules of marketplace manifests and of removals, and the
/// dependencies.
#ifndef VERIFIER_STAY_RULES_H
#define VERIFIER_STAY_RULES_H

#include <set>
#include <string>

#include "verifier/installed_files.h"
#include "verifier/verdict.h"

namespace verifier {

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

}  // namespace verifier

#endif  // VERIFIER_STAY_RULES_H
