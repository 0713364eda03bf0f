// A host program as small as one can be: runs one application and says how it ended.
//
//     end_to_end_host [--browser PROGRAM] MANIFEST ENTRY [KEY=VALUE...]
//
// Writes "run CODE" and, when the end has been told, a line "property KEY=VALUE" for each final
// property and "told RESULT". The line "cancel" on its input cancels the application.

#include <unistd.h>

#include <condition_variable>
#include <cstdio>
#include <functional>
#include <iostream>
#include <map>
#include <mutex>
#include <string>
#include <thread>

#include "workstation/browser/browser_control.h"
#include "wzapp/wzapp.h"

namespace {

using Properties = std::map<std::string, std::string>;

struct Ending {
  std::mutex mutex;
  std::condition_variable changed;
  bool told = false;
  bool leaves = false;
};

void onExit(void* user, int result, const Properties& properties) {
  for (const auto& [key, value] : properties) {
    std::printf("property %s=%s\n", key.c_str(), value.c_str());
  }
  std::printf("told %d\n", result);
  std::fflush(stdout);
  Ending& ending = *static_cast<Ending*>(user);
  const std::lock_guard<std::mutex> lock(ending.mutex);
  ending.told = true;
  ending.changed.notify_all();
}

void readCommands(wzapp::counted_ptr<wzapp::WZApp> app, Ending& ending) {
  for (std::string line; std::getline(std::cin, line);) {
    if (line == "cancel") wzapp::wzAppCancel(app);
    if (line != "leave") continue;
    const std::lock_guard<std::mutex> lock(ending.mutex);
    ending.leaves = true;
    ending.changed.notify_all();
  }
}

Properties propertiesIn(char** first, char** last) {
  Properties properties;
  for (char** argument = first; argument < last; ++argument) {
    const std::string text = *argument;
    const std::size_t equals = text.find('=');
    if (equals != std::string::npos) properties[text.substr(0, equals)] = text.substr(equals + 1);
  }
  return properties;
}

}  // namespace

int main(int argc, char** argv) {
  int next = 1;
  if (next + 1 < argc && std::string(argv[next]) == "--browser") {
    workstation::BrowserOptions options;
    options.program = argv[next + 1];
    workstation::setBrowserOptions(options);
    next += 2;
  }
  if (next + 2 > argc) return 2;
  // Never destroyed: an application that is left behind still refers to it.
  static Ending& ending = *new Ending;
  wzapp::counted_ptr<wzapp::WZApp> app;
  const int code = wzapp::wzAppRun(app, 0, argv[next], argv[next + 1],
                                   propertiesIn(argv + next + 2, argv + argc), onExit, &ending);
  std::printf("run %d\n", code);
  std::fflush(stdout);
  if (code != 0) return 1;
  std::thread(readCommands, app, std::ref(ending)).detach();
  {
    std::unique_lock<std::mutex> lock(ending.mutex);
    ending.changed.wait(lock, [&] { return ending.told || ending.leaves; });
    if (ending.leaves) return 0;
  }
  wzapp::wzAppCancel(app);  // until its thread has nothing more to do with `ending`
  return 0;
}
