#include "wz/matrix/verdict.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <utility>

#include "support/text.h"
#include "wz/check/json_tree.h"
#include "wz/reports/json_output.h"
#include "wz/words/codes.h"
#include "wz/words/explain.h"

namespace wz {
namespace {

using Change = ApplicationChange;

constexpr char kDidNotStay[] = "WZ-0519";
constexpr char kRemovesOthers[] = "WZ-0521";
constexpr char kDowngrades[] = "WZ-0522";
constexpr char kDied[] = "WZ-1012";

std::set<std::string> idsOf(const PackageReport& report, InnerKind kind) {
  std::set<std::string> ids;
  for (const InnerReport& inner : report.inners) {
    if (inner.kind == kind) ids.insert(wzapp::toUpper(inner.id));
  }
  return ids;
}

// What vanishes though no package of the run is there to remove it.
std::string removedByTheWay(const std::vector<WaitingPackage>& packages,
                            const InstallOutcome& outcome) {
  std::set<std::string> meant;
  for (const WaitingPackage& package : packages) {
    meant.merge(idsOf(package.report, InnerKind::kUninstall));
  }
  std::string ids;
  for (const Change& change : outcome.changes) {
    if (change.kind != Change::Kind::kRemoved || meant.contains(wzapp::toUpper(change.id))) {
      continue;
    }
    ids += (ids.empty() ? "" : ", ") + change.id;
  }
  return ids;
}

std::string downgradesOf(const PackageReport& report, const InstallOutcome& outcome) {
  const std::set<std::string> own = idsOf(report, InnerKind::kApplication);
  for (const Change& change : outcome.changes) {
    if (!change.isDowngrade || !own.contains(wzapp::toUpper(change.id))) continue;
    return change.id + " " + change.versionBefore + " by " + change.versionNow;
  }
  return {};
}

void addFinding(const char* code, const std::string& file, const std::string& evidence,
                Verdict& verdict, Diagnostics& diagnostics) {
  verdict.code = code;
  verdict.reason = evidence;
  diagnostics.insert(diagnostics.begin(),
                     {code, lowerFirst(codeOf(code).title), file, "", 0, 0, evidence});
}

// The first error tells most: causes stand before what they lead to.
void explainRefusal(const PackageOutcome& package, Verdict& verdict, Diagnostics& diagnostics) {
  const auto error = std::find_if(diagnostics.begin(), diagnostics.end(),
                                  [](const Diagnostic& one) { return isError(one); });
  if (error == diagnostics.end()) {
    const std::string reason = package.reasons.empty() ? "" : package.reasons.front();
    return addFinding(kDidNotStay, package.file, reason, verdict, diagnostics);
  }
  verdict.code = error->code;
  verdict.reason = error->evidence.empty() ? error->message : error->evidence;
}

std::string membersOf(const Verdict& verdict, const Reasons& reasons,
                      const std::vector<std::string>& warnings, const std::vector<Change>& changes,
                      const Diagnostics& diagnostics) {
  const std::string object = jsonLine([&](JsonWriter& writer) {
    putText(writer, "word", wordText(verdict.word));
    putText(writer, "code", verdict.code);
    putText(writer, "reason", verdict.reason);
    putTexts(writer, "reasons", reasons);
    putTexts(writer, "warnings", warnings);
    putRows(writer, "changes", changes, [&](const Change& change) { putChange(writer, change); });
    writer.Key("diagnostics");
    writer.StartArray();
    for (const Diagnostic& diagnostic : diagnostics) putDiagnostic(writer, diagnostic);
    writer.EndArray();
  });
  return object.substr(1, object.size() - 2);
}

}  // namespace

const char* wordText(Verdict::Word word) { return kVerdictWords[static_cast<int>(word)]; }

bool isTaken(const Verdict& verdict) {
  return verdict.word != Verdict::Word::kRefused && verdict.word != Verdict::Word::kDied;
}

Verdict judge(const std::vector<WaitingPackage>& packages, const InstallOutcome& outcome,
              std::size_t index) {
  const PackageOutcome& package = outcome.packages[index];
  Verdict verdict;
  Diagnostics diagnostics = package.diagnostics;
  const std::string others = removedByTheWay(packages, outcome);
  const std::string older = downgradesOf(packages[index].report, outcome);
  if (!package.isDone) {
    verdict.word = Verdict::Word::kRefused;
    explainRefusal(package, verdict, diagnostics);
  } else if (!others.empty()) {
    verdict.word = Verdict::Word::kRemoves;
    addFinding(kRemovesOthers, package.file, others, verdict, diagnostics);
  } else if (!older.empty()) {
    verdict.word = Verdict::Word::kDowngrades;
    addFinding(kDowngrades, package.file, older, verdict, diagnostics);
  } else {
    verdict.word = Verdict::Word::kAccepted;
  }
  verdict.json =
      membersOf(verdict, package.reasons, package.warnings, outcome.changes, diagnostics);
  return verdict;
}

Verdict diedVerdict(const std::string& file, const std::string& how) {
  Verdict verdict;
  Diagnostics diagnostics;
  addFinding(kDied, file, how, verdict, diagnostics);
  verdict.json = membersOf(verdict, {}, {}, {}, diagnostics);
  return verdict;
}

bool readVerdict(std::string_view json, Verdict& verdict) {
  const JsonText text = readJsonText("{" + std::string(json) + "}");
  const std::string word = textAt(text.root, "word");
  const auto* const known = std::find(std::begin(kVerdictWords), std::end(kVerdictWords), word);
  if (!text.isJson || known == std::end(kVerdictWords)) return false;
  verdict.word = static_cast<Verdict::Word>(known - std::begin(kVerdictWords));
  verdict.code = textAt(text.root, "code");
  verdict.reason = textAt(text.root, "reason");
  verdict.json = json;
  return true;
}

}  // namespace wz
