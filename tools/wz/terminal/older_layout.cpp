#include "wz/terminal/older_layout.h"

#include <unistd.h>

#include <string>
#include <vector>

#include "installer/directories.h"
#include "workstation/terminal/terminal_directory.h"
#include "wz/reports/log_follower.h"
#include "wz/reports/output.h"
#include "wz/terminal/change_causes.h"
#include "wz/terminal/history_file.h"

namespace wz {

namespace {

std::vector<HistoryMove> pendingMoves() {
  std::vector<HistoryMove> moves;
  if (access(wzapp::kConfigRoot, F_OK) == 0) return moves;
  for (const wzapp::Migration& migration : wzapp::kMigrations) {
    if (access(migration.from, F_OK) == 0) moves.push_back({migration.from, migration.to, false});
  }
  return moves;
}

}  // namespace

bool hasOlderLayout() { return !pendingMoves().empty(); }

void migrateOlderLayout() {
  HistoryEvent event;
  event.moves = pendingMoves();
  if (event.moves.empty()) return;
  event.kind = HistoryKind::kMigration;
  event.time = historyTime();
  {
    LogFollower log(LogFollower::Display::kNone, 0);
    // Whoever needs the root finds out that it cannot be used.
    (void)wzapp::prepareConfigRoot(LogFollower::take, &log);
    event.log = log.lines();
  }
  for (HistoryMove& move : event.moves) move.isDone = access(move.from.c_str(), F_OK) != 0;
  event.changes = differences({}, findInstalledApplications());
  std::string error;
  if (!appendHistory(workstation::terminalDirectory(), event, error)) {
    printMessage("warning: " + error);
  }
}

}  // namespace wz
