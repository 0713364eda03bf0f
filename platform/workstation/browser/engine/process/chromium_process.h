/// A browser process with everything below it, and the certainty that all of it ends.
///
/// A small watcher, forked from the host, starts the browser and ends with it or with the host,
/// however the host ends. Where the system allows it, the watcher is the first process of a PID
/// namespace, so that its end is the end of all of the browser's processes, and the namespace of
/// the network is one without a way out. A user namespace of its own maps root to an ordinary user,
/// with which the browser keeps its sandbox. Where namespaces are refused, an ordinary user's
/// browser is started without them and its process group is killed.
#ifndef WORKSTATION_BROWSER_ENGINE_CHROMIUM_PROCESS_H
#define WORKSTATION_BROWSER_ENGINE_CHROMIUM_PROCESS_H

#include <memory>
#include <string>
#include <vector>

#include "workstation/browser/engine/process/unique_fd.h"

namespace workstation {

struct ChromiumCommand {
  std::string program;                   ///< Absolute path of the binary.
  std::vector<std::string> arguments;    ///< Without the program's own name.
  std::vector<std::string> environment;  ///< "NAME=value".
  std::string errorFile;                 ///< Receives what the browser says; created or emptied.
  bool ownNetwork = true;                ///< False where the display is reached over the network.
};

class ChromiumProcess {
 public:
  /// Starts the browser and returns once its program is running. Null, with the reason in `error`,
  /// when it cannot be started.
  static std::unique_ptr<ChromiumProcess> start(const ChromiumCommand& command, std::string& error);

  /// Kills the browser with all its processes and waits until they are gone.
  ~ChromiumProcess();

  ChromiumProcess(const ChromiumProcess&) = delete;
  ChromiumProcess& operator=(const ChromiumProcess&) = delete;

  /// The host's ends of the remote-debugging pipes; to be moved out.
  UniqueFd commands, events;

 private:
  ChromiumProcess() = default;

  UniqueFd life_;     // the watcher sees its end
  UniqueFd watcher_;  // pidfd of the watcher
};

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_CHROMIUM_PROCESS_H
