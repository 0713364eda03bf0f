// A host program that opens pages and then ends in the way that a test asks for:
//
//     browser_test_host DIRECTORY [PROGRAM]
//
// It borrows its browser where WZ_BROWSERS names a lender's socket.
//
// It prints "shown TEXT" for each line that the page writes to its console, or "refused TEXT" when
// it cannot be opened. Then it does what it reads: "again" (opens the page once more), "wait"
// (prints "ended RESULT TEXT"), "screenshot" (writes shot.png to the directory and prints "taken"
// or why not), and at last "return", "exit" or "abort"; the end of its input is "return".

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>

#include "workstation/browser/browser_control.h"
#include "zelgui/zelgui.h"

namespace {

void onPageEvent(void*, const workstation::PageEvent& event) {
  if (event.kind != workstation::PageEvent::Kind::kConsole || event.texts.empty()) return;
  std::cout << "shown " << event.texts[0] << std::endl;
}

int openPage() {
  const int id = zelgui::uiInvokeURLAsync(0, 0, {}, "index.html", nullptr, nullptr);
  if (id < 0) std::cout << "refused " << zelgui::uiScriptError() << std::endl;
  return id;
}

void obey(const std::string& order, const std::string& directory, int& invocation) {
  if (order == "again") invocation = openPage();
  if (order == "exit") ::_exit(0);
  if (order == "abort") std::abort();
  if (order == "wait") {
    zelgui::UIProperties properties;
    const int result = zelgui::uiInvokeWait(invocation, properties, -1);
    std::cout << "ended " << result << ' ' << zelgui::uiScriptError() << std::endl;
  }
  if (order == "screenshot") {
    std::string error;
    const bool taken = workstation::takeScreenshot(invocation, directory + "/shot.png", error);
    std::cout << (taken ? "taken" : error) << std::endl;
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  workstation::BrowserOptions options;
  if (argc > 2) options.program = argv[2];
  if (const char* const lender = std::getenv("WZ_BROWSERS")) options.lender = lender;
  workstation::setBrowserOptions(options);
  workstation::setPageObserver(onPageEvent, nullptr);
  zelgui::uiSetPropertyString(0, 2010, argv[1]);
  int invocation = openPage();
  std::string order;
  while (std::getline(std::cin, order) && order != "return") obey(order, argv[1], invocation);
  return 0;
}
