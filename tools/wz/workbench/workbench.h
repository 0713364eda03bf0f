/// The server behind the workbench's page: what pages ask goes from here to those who do it.
#ifndef WZ_WORKBENCH_WORKBENCH_H
#define WZ_WORKBENCH_WORKBENCH_H

#include <memory>
#include <string>
#include <vector>

namespace wz {

struct WorkbenchPlan {
  int port = 0;                      ///< 0: any
  std::vector<std::string> folders;  ///< of applications, to begin with
};

/// For a process inside a terminal, whose children it prepares. There is one in a process.
class Workbench {
 public:
  Workbench();
  ~Workbench();
  Workbench(const Workbench&) = delete;
  Workbench& operator=(const Workbench&) = delete;

  /// Serves from here on, once run() is called. False, with the reason in `error`, when it cannot.
  [[nodiscard]] bool begin(const WorkbenchPlan& plan, std::string& error);

  /// What the user's browser opens, once.
  [[nodiscard]] std::string address() const;

  /// Until the user wants the program to end; then ends all that it has started. False when it has
  /// ended because it could not go on, after a message.
  [[nodiscard]] bool run();

 private:
  class Core;
  const std::unique_ptr<Core> core_;
};

}  // namespace wz

#endif  // WZ_WORKBENCH_WORKBENCH_H
