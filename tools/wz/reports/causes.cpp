#include "wz/reports/causes.h"

#include <algorithm>
#include <map>
#include <set>
#include <string_view>
#include <utility>

#include "support/text.h"
#include "wz/reports/diagnostic.h"
#include "wz/reports/output.h"
#include "wz/words/explain.h"

namespace wz {
namespace {

using ChangeKind = HistoryChangeKind;

constexpr std::string_view kMissingTrigger = "WZ-0514", kMissingInterface = "WZ-0515";

bool isMissingFeature(const Cause& cause) {
  return (cause.code == kMissingTrigger || cause.code == kMissingInterface) &&
         !cause.values.empty();
}

Cause causeOf(const std::string& code, const std::string& line, unsigned pass) {
  Cause cause;
  cause.code = code;
  cause.line = line;
  cause.pass = pass;
  const LogMatch match = matchLogLine(line);
  if (match.code != nullptr && match.code->id == code) cause.values = match.values;
  return cause;
}

// ---- What stands behind them -------------------------------------------------------------------

bool isOf(const HistoryChange& change, const std::string& upperId) {
  return change.thing == HistoryThing::kApplication && wzapp::toUpper(change.id) == upperId;
}

// Follows the trail of what is missing through the history, from its end backwards.
class Trail {
 public:
  explicit Trail(const std::vector<HistoryEvent>& events) : events_(events) {}

  std::vector<Cause> follow(const HistoryChange& change, std::uint64_t at) {
    std::vector<Cause> causes;
    const std::string upperId = wzapp::toUpper(change.id);
    if (!visited_.insert({at, upperId}).second) return causes;
    for (const HistoryRule& rule : change.rules) {
      causes.push_back(causeOf(rule.code, rule.line, rule.pass));
      if (isMissingFeature(causes.back())) findExporter(upperId, at, causes.back());
    }
    return causes;
  }

 private:
  struct Place {
    const HistoryEvent* event;
    const HistoryChange* change;
  };

  // The last that had it, up to that event.
  void findExporter(const std::string& upperId, std::uint64_t at, Cause& cause) {
    const bool isTrigger = cause.code == kMissingTrigger;
    for (auto event = events_.rbegin(); event != events_.rend(); ++event) {
      if (event->number > at) continue;
      for (const HistoryChange& change : event->changes) {
        const auto& exports = isTrigger ? change.exportedTriggers : change.exportedInterfaces;
        const bool isExporter =
            change.thing == HistoryThing::kApplication && !isOf(change, upperId) &&
            std::find(exports.begin(), exports.end(), cause.values[0]) != exports.end();
        if (isExporter) return tell({&*event, &change}, at, cause);
      }
    }
  }

  void tell(const Place& place, std::uint64_t at, Cause& cause) {
    const std::string upperId = wzapp::toUpper(place.change->id);
    cause.exporter = place.change->id;
    const Place end = findEnd(upperId, place, at);
    const HistoryChange& change = *end.change;
    cause.exporterVersion =
        change.kind == ChangeKind::kVanished ? change.versionBefore : place.change->versionNow;
    cause.package = packageOf(upperId, end.event->number);
    cause.event = end.event->number;
    switch (change.kind) {
      case ChangeKind::kVanished:
        cause.how = change.rules.empty() ? "was removed on request" : "was removed";
        break;
      case ChangeKind::kRefused:
        cause.how = "was refused";
        break;
      case ChangeKind::kChanged:
        cause.how = "was replaced by " + change.versionNow + ", which does not export it";
        break;
      case ChangeKind::kAppeared:
        cause.event = 0;
        break;
    }
    if (&change == place.change && change.kind == ChangeKind::kChanged) cause.event = 0;
    if (cause.event == 0) {
      cause.how =
          "stayed, but its exports did not count, as those of an application do not where "
          "its id without the last character is that of one that failed";
      return;
    }
    cause.because = follow(change, end.event->number);
  }

  // The next thing that happened to it.
  [[nodiscard]] Place findEnd(const std::string& upperId, const Place& place,
                              std::uint64_t at) const {
    if (place.change->kind == ChangeKind::kVanished || place.change->kind == ChangeKind::kRefused) {
      return place;
    }
    for (const HistoryEvent& event : events_) {
      if (event.number <= place.event->number || event.number > at) continue;
      for (const HistoryChange& change : event.changes) {
        if (isOf(change, upperId)) return {&event, &change};
      }
    }
    return place;
  }

  // That had brought it, before it went.
  [[nodiscard]] std::string packageOf(const std::string& upperId, std::uint64_t until) const {
    std::string package;
    for (const HistoryEvent& event : events_) {
      for (const HistoryChange& change : event.changes) {
        const bool isBrought = change.kind != ChangeKind::kVanished && event.number <= until;
        if (isBrought && isOf(change, upperId)) package = change.package;
      }
    }
    return package;
  }

  const std::vector<HistoryEvent>& events_;
  std::set<std::pair<std::uint64_t, std::string>> visited_;
};

// ---- The smallest change -----------------------------------------------------------------------

std::string inManifest(const std::string& id, const std::string& what) {
  return "in the manifest of " + id + ": " + what;
}

std::string bound(const char* key, const Cause& cause, const std::string& version) {
  if (version.empty()) return std::string("leave \"") + key + "\" out";
  return std::string("\"") + key + "\": \"" + version + "\" instead of \"" + cause.values[1] + "\"";
}

struct BoundRow {
  std::string_view code;
  const char* key;
};

constexpr BoundRow kBounds[] = {{"WZ-0510", "triggers_min_version"},
                                {"WZ-0511", "triggers_max_version"},
                                {"WZ-0512", "wzruntime_min_version"},
                                {"WZ-0513", "wzruntime_max_version"}};

// What mends this one alone.
std::string repairOf(const std::string& id, const Cause& cause) {
  for (const BoundRow& row : kBounds) {
    if (row.code == cause.code && cause.values.size() == 2) {
      return inManifest(id, bound(row.key, cause, cause.values[0]));
    }
  }
  if (isMissingFeature(cause)) {
    return inManifest(id, "mark the import of " + cause.values[0] + " \"optional\": true");
  }
  if (cause.code == "WZ-0516" && cause.values.size() == 2) {
    return inManifest(id, "add \"" + cause.values[0] + "\" to \"platforms\"");
  }
  if (cause.code == "WZ-0503" && cause.values.size() == 4) {
    return "pack " + id + " for the sponsor of the terminal: wz pack APPDIR -o FILE --sponsor " +
           cause.values[3];
  }
  return wz::repairOf(Diagnostic{cause.code, "", "", "", 0, 0, ""});
}

void addOnce(const std::string& change, std::vector<std::string>& changes) {
  if (std::find(changes.begin(), changes.end(), change) == changes.end()) {
    changes.push_back(change);
  }
}

// What would have kept the application that exported it.
std::vector<std::string> keepingOf(const Cause& cause) {
  if (cause.event == 0) return {};
  if (!cause.because.empty()) return smallestChange(cause.exporter, cause.because);
  return {"install " + cause.exporter + (cause.exporterVersion.empty() ? "" : " ") +
          cause.exporterVersion + (cause.package.empty() ? "" : " (" + cause.package + ")") +
          ", which exports " + cause.values[0] + ", before it or with it"};
}

std::string titleOf(const std::string& code) {
  const Code* const row = findCode(code);
  return row == nullptr ? std::string() : lowerFirst(row->title);
}

}  // namespace

std::vector<Cause> causesOf(const HistoryChange& change, std::uint64_t at,
                            const std::vector<HistoryEvent>& events) {
  return Trail(events).follow(change, at);
}

std::vector<Cause> causesOf(const LogRemarks& remarks, unsigned pass) {
  std::vector<Cause> causes;
  for (const LogRemark& remark : remarks) {
    causes.push_back(causeOf(remark.code->id, remark.line, pass));
  }
  return causes;
}

// What one application exported may mend several causes at once. Where it costs no more than to do
// without, it is kept.
std::vector<std::string> smallestChange(const std::string& id, const std::vector<Cause>& causes) {
  std::map<std::string, std::vector<const Cause*>> byExporter;
  for (const Cause& cause : causes) {
    if (isMissingFeature(cause)) byExporter[cause.exporter].push_back(&cause);
  }
  std::vector<std::string> changes;
  std::set<std::string> done;
  for (const Cause& cause : causes) {
    if (!isMissingFeature(cause)) {
      addOnce(repairOf(id, cause), changes);
      continue;
    }
    if (!done.insert(cause.exporter + "\n" + (cause.exporter.empty() ? cause.values[0] : ""))
             .second) {
      continue;
    }
    const std::vector<const Cause*>& missing = byExporter[cause.exporter];
    const std::vector<std::string> keeping = keepingOf(cause);
    if (!keeping.empty() && keeping.size() <= missing.size()) {
      for (const std::string& change : keeping) addOnce(change, changes);
      continue;
    }
    for (const Cause* const one : missing) addOnce(repairOf(id, *one), changes);
  }
  return changes;
}

void printCauses(const std::vector<Cause>& causes, const std::string& indent) {
  for (const Cause& cause : causes) {
    printLine(indent + cause.code + " " + titleOf(cause.code) +
              (cause.pass == 0 ? "" : ", in pass " + std::to_string(cause.pass)));
    printLine(indent + "  " + cause.line);
    if (cause.exporter.empty()) continue;
    printLine(indent + "  " + cause.exporter +
              (cause.exporterVersion.empty() ? "" : " " + cause.exporterVersion) +
              " exported it, and " + cause.how +
              (cause.event == 0 ? "" : " by event " + std::to_string(cause.event)));
    printCauses(cause.because, indent + "    ");
  }
}

void putCauses(JsonWriter& writer, const char* key, const std::vector<Cause>& causes) {
  putRows(writer, key, causes, [&writer](const Cause& cause) {
    putText(writer, "code", cause.code);
    putText(writer, "title", titleOf(cause.code));
    putText(writer, "line", cause.line);
    putNumber(writer, "pass", cause.pass);
    putText(writer, "exporter", cause.exporter);
    putText(writer, "exporterVersion", cause.exporterVersion);
    putText(writer, "how", cause.how);
    putNumber(writer, "event", cause.event);
    putCauses(writer, "because", cause.because);
  });
}

}  // namespace wz
