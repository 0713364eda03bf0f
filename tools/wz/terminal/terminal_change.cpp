#include "wz/terminal/terminal_change.h"

#include <cstdarg>
#include <cstdio>

#include "wz/reports/output.h"
#include "wz/terminal/change_record.h"
#include "wz/terminal/older_layout.h"
#include "wz/terminal/session.h"
#include "wzapp/wzapp.h"

namespace wz {
namespace {

void printFormatted(void*, const char* format, ...) {
  char text[1024];
  std::va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof(text), format, arguments);
  va_end(arguments);
  std::string line = text;
  if (line.ends_with('\n')) line.pop_back();
  printMessage(line);
}

}  // namespace

bool TerminalChange::begin(const std::string& terminalDir) {
  if (!enterChosenTerminal(terminalDir)) return false;
  std::string error;
  if (!lock_.acquire(workstation::terminalDirectory(), error)) {
    printMessage(error);
    return false;
  }
  finishCutOffChange();
  migrateOlderLayout();
  return wzapp::wzInstallCreateSourceDir(printFormatted, nullptr) == 0;
}

}  // namespace wz
