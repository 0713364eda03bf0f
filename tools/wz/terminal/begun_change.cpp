#include "wz/terminal/begun_change.h"

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>

#include "support/file_system.h"
#include "workstation/terminal/terminal_directory.h"
#include "wz/check/json_tree.h"
#include "wz/terminal/history_file.h"

namespace wz {
namespace {

constexpr char kNote[] = "history.begun";

std::string notePath() { return workstation::terminalDirectory() + "/" + kNote; }

std::string noteText(const BegunChange& begun) {
  return jsonLine([&begun](JsonWriter& writer) {
           writer.Key("event");
           writer.StartObject();
           putHistoryEvent(writer, begun.event);
           writer.EndObject();
           putRows(writer, "packages", begun.packages, [&writer](const WaitingPackage& package) {
             putText(writer, "file", package.file);
             putText(writer, "name", package.name);
             putText(writer, "sha256", package.sha256);
             putNumber(writer, "octets", package.octets);
             putRows(writer, "archives", package.report.inners,
                     [&writer](const InnerReport& inner) {
                       putNumber(writer, "kind", static_cast<std::uint64_t>(inner.kind));
                       putText(writer, "entry", inner.entry);
                       putText(writer, "id", inner.id);
                     });
           });
           putRows(writer, "before", begun.before, [&writer](const auto& row) {
             const InstalledApplication& application = row.second;
             putText(writer, "key", row.first);
             putText(writer, "id", application.id);
             putText(writer, "version", application.version);
             putFlag(writer, "installed", application.isInstalled);
             putText(writer, "folder", application.marketplaceFolder);
             putText(writer, "stamp", application.stamp);
             putText(writer, "marketplaceStamp", application.marketplaceStamp);
             putText(writer, "marketplaceVersion", application.marketplaceVersion);
             putTexts(writer, "exportsTriggers", application.exportedTriggers);
             putTexts(writer, "exportsInterfaces", application.exportedInterfaces);
           });
         }) +
         "\n";
}

WaitingPackage readWaiting(const JsonNode& node) {
  WaitingPackage package;
  package.file = textAt(node, "file");
  package.name = textAt(node, "name");
  package.sha256 = textAt(node, "sha256");
  takeNumber(node, "octets", package.octets);
  for (const JsonNode& item : itemsAt(node, "archives")) {
    InnerReport inner;
    unsigned kind = 0;
    takeNumber(item, "kind", kind);
    inner.kind = static_cast<InnerKind>(std::min(kind, 2U));
    inner.entry = textAt(item, "entry");
    inner.id = textAt(item, "id");
    package.report.inners.push_back(std::move(inner));
  }
  return package;
}

}  // namespace

bool writeNote(const BegunChange& begun) { return replaceFile(notePath(), noteText(begun)); }

bool hasNote() { return access(notePath().c_str(), F_OK) == 0; }

bool readNote(BegunChange& begun) {
  std::string text;
  if (!wzapp::readFile(notePath().c_str(), text)) return false;
  const JsonText json = readJsonText(text);
  const JsonNode* const event = json.root.find("event");
  if (!json.isJson || event == nullptr || !readHistoryEvent(*event, begun.event)) return false;
  for (const JsonNode& item : itemsAt(json.root, "packages")) {
    begun.packages.push_back(readWaiting(item));
  }
  for (const JsonNode& item : itemsAt(json.root, "before")) {
    InstalledApplication& application = begun.before[textAt(item, "key")];
    application.id = textAt(item, "id");
    application.version = textAt(item, "version");
    application.isInstalled = flagAt(item, "installed");
    application.marketplaceFolder = textAt(item, "folder");
    application.stamp = textAt(item, "stamp");
    application.marketplaceStamp = textAt(item, "marketplaceStamp");
    application.marketplaceVersion = textAt(item, "marketplaceVersion");
    application.exportedTriggers = textsAt(item, "exportsTriggers");
    application.exportedInterfaces = textsAt(item, "exportsInterfaces");
  }
  return true;
}

void removeNote() { unlink(notePath().c_str()); }

}  // namespace wz
