#include "wz/reports/history_event.h"

#include <ctime>
#include <utility>

namespace wz {
namespace {

constexpr char kSchema[] = "urn:wzapp:history-event:1";
constexpr const char* kKinds[] = {"install", "remove", "migration"};
constexpr const char* kChanges[] = {"appeared", "changed", "vanished", "refused"};
constexpr const char* kThings[] = {"application", "marketplace manifest", "removal"};

// ---- Writing -----------------------------------------------------------------------------------

void putChange(JsonWriter& writer, const HistoryChange& change) {
  putText(writer, "change", historyChangeText(change.kind));
  putText(writer, "thing", kThings[static_cast<int>(change.thing)]);
  putText(writer, "id", change.id);
  putText(writer, "versionBefore", change.versionBefore);
  putText(writer, "versionNow", change.versionNow);
  putFlag(writer, "downgrade", change.isDowngrade);
  putText(writer, "package", change.package);
  putText(writer, "archive", change.archive);
  putRows(writer, "rules", change.rules, [&writer](const HistoryRule& rule) {
    putText(writer, "code", rule.code);
    putText(writer, "line", rule.line);
    putNumber(writer, "pass", rule.pass);
  });
  putTexts(writer, "exportsTriggers", change.exportedTriggers);
  putTexts(writer, "exportsInterfaces", change.exportedInterfaces);
}

// ---- Reading -----------------------------------------------------------------------------------

// The place of a text in a table; -1 when it is not there.
template <std::size_t kCount>
int placeOf(const std::string& text, const char* const (&table)[kCount]) {
  for (std::size_t i = 0; i < kCount; ++i) {
    if (text == table[i]) return static_cast<int>(i);
  }
  return -1;
}

HistoryChange readChange(const JsonNode& node) {
  HistoryChange change;
  const int kind = placeOf(textAt(node, "change"), kChanges);
  if (kind >= 0) change.kind = static_cast<HistoryChangeKind>(kind);
  const int thing = placeOf(textAt(node, "thing"), kThings);
  if (thing >= 0) change.thing = static_cast<HistoryThing>(thing);
  change.id = textAt(node, "id");
  change.versionBefore = textAt(node, "versionBefore");
  change.versionNow = textAt(node, "versionNow");
  change.isDowngrade = flagAt(node, "downgrade");
  change.package = textAt(node, "package");
  change.archive = textAt(node, "archive");
  for (const JsonNode& item : itemsAt(node, "rules")) {
    change.rules.push_back({textAt(item, "code"), textAt(item, "line"), 0});
    takeNumber(item, "pass", change.rules.back().pass);
  }
  change.exportedTriggers = textsAt(node, "exportsTriggers");
  change.exportedInterfaces = textsAt(node, "exportsInterfaces");
  return change;
}

}  // namespace

const char* historyKindText(HistoryKind kind) { return kKinds[static_cast<int>(kind)]; }

const char* historyChangeText(HistoryChangeKind kind) { return kChanges[static_cast<int>(kind)]; }

std::string historyTime() {
  const std::time_t now = std::time(nullptr);
  std::tm utc{};
  char text[32];
  gmtime_r(&now, &utc);
  return {text, std::strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%SZ", &utc)};
}

void putHistoryEvent(JsonWriter& writer, const HistoryEvent& event) {
  putText(writer, "schema", kSchema);
  putNumber(writer, "number", event.number);
  putText(writer, "time", event.time);
  putText(writer, "kind", historyKindText(event.kind));
  putFlag(writer, "interrupted", event.isInterrupted);
  writer.Key("result");
  writer.Int(event.result);
  putRows(writer, "packages", event.packages, [&writer](const HistoryPackage& package) {
    putText(writer, "file", package.file);
    putText(writer, "sha256", package.sha256);
    putNumber(writer, "octets", package.octets);
    putFlag(writer, "done", package.isDone);
  });
  putRows(writer, "changes", event.changes,
          [&writer](const HistoryChange& change) { putChange(writer, change); });
  putRows(writer, "moves", event.moves, [&writer](const HistoryMove& move) {
    putText(writer, "from", move.from);
    putText(writer, "to", move.to);
    putFlag(writer, "done", move.isDone);
  });
  putTexts(writer, "log", event.log);
  putNumber(writer, "linesLeftOut", event.linesLeftOut);
}

std::string historyLine(const HistoryEvent& event) {
  return jsonLine([&event](JsonWriter& writer) { putHistoryEvent(writer, event); }) + "\n";
}

bool readHistoryEvent(const JsonNode& root, HistoryEvent& event) {
  if (textAt(root, "schema") != kSchema) return false;
  const int kind = placeOf(textAt(root, "kind"), kKinds);
  HistoryEvent read;
  takeNumber(root, "number", read.number);
  if (kind < 0 || read.number == 0) return false;
  read.kind = static_cast<HistoryKind>(kind);
  read.time = textAt(root, "time");
  read.isInterrupted = flagAt(root, "interrupted");
  takeNumber(root, "result", read.result);
  for (const JsonNode& item : itemsAt(root, "packages")) {
    read.packages.push_back(
        {textAt(item, "file"), textAt(item, "sha256"), 0, flagAt(item, "done")});
    takeNumber(item, "octets", read.packages.back().octets);
  }
  for (const JsonNode& item : itemsAt(root, "changes")) read.changes.push_back(readChange(item));
  for (const JsonNode& item : itemsAt(root, "moves")) {
    read.moves.push_back({textAt(item, "from"), textAt(item, "to"), flagAt(item, "done")});
  }
  read.log = textsAt(root, "log");
  takeNumber(root, "linesLeftOut", read.linesLeftOut);
  event = std::move(read);
  return true;
}

bool readHistoryLine(std::string_view line, HistoryEvent& event) {
  const JsonText text = readJsonText(line);
  return text.isJson && readHistoryEvent(text.root, event);
}

}  // namespace wz
