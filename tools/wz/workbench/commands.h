/// The commands of `wz` that pages may use, each as a child whose document is the answer.
#ifndef WZ_WORKBENCH_COMMANDS_H
#define WZ_WORKBENCH_COMMANDS_H

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "wz/workbench/answer.h"
#include "wz/workbench/child.h"
#include "wz/workbench/loop.h"
#include "wz/workbench/pages.h"
#include "wz/workbench/uploads.h"

namespace wz {

/// For the loop's thread.
class Commands {
 public:
  Commands(Loop& loop, Pages& pages, Uploads& uploads)
      : loop_(loop), pages_(pages), uploads_(uploads) {}

  /// {"command": NAME, "arguments": {...}}; the result is {"exit": CODE, "document": {...}}.
  void run(const zelipc::JSObject& question, const Answer& answer);

  /// `wz notify`: {"to", "name", "payload", "from", "reply"}.
  void notify(const zelipc::JSObject& question, const Answer& answer);

  /// Asks all to end; `onEnded` is called when they have.
  void endAll(std::function<void()> onEnded);

 private:
  struct Row;
  static const std::vector<Row>& rows();
  void start(const ChildPlan& plan, bool isInstallation, const std::string& folder,
             const Answer& answer);
  static void tellDocument(const ChildEnd& end, const Answer& answer);
  void tellLogLine(const std::string& line);
  void tellEnd(const ChildEnd& end);

  Loop& loop_;
  Pages& pages_;
  Uploads& uploads_;
  std::map<long long, std::unique_ptr<Child>> children_;
  long long last_ = 0;
  std::function<void()> onEnded_;
};

}  // namespace wz

#endif  // WZ_WORKBENCH_COMMANDS_H
