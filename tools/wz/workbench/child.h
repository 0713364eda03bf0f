/// A command of `wz` that runs as a child of the workbench, with its output read on the loop.
///
/// A child is in a process group of its own, so that an interrupt key reaches the workbench alone,
/// which ends its children in order. None outlives the workbench, however that ends
/// (PR_SET_PDEATHSIG; session.h).
#ifndef WZ_WORKBENCH_CHILD_H
#define WZ_WORKBENCH_CHILD_H

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "wz/workbench/loop.h"

namespace wz {

struct ChildPlan {
  std::vector<std::string> arguments;  ///< of wz
  std::string folder;                  ///< to run in; empty: that of the workbench
  bool takesInput = false;             ///< by Child::write()
  std::string input;                   ///< otherwise: what its standard input holds
  std::chrono::milliseconds limit{0};  ///< then it is made to end; 0: none
};

struct ChildEnd {
  int code = 0;            ///< of the program; 128 and the number of the signal that ended it
  std::string output;      ///< what no onLine has taken
  std::string errors;      ///< the end of what it said on standard error
  bool isLate = false;     ///< its limit has passed
  bool isTooLong = false;  ///< it wrote more than is kept
};

/// For the loop's thread.
class Child {
 public:
  struct Listener {
    /// Each line of standard output without its end; null: all of it is collected.
    std::function<void(const std::string& line)> onLine = nullptr;
    /// Each line of standard error, in the same way; they are kept for the end, too.
    std::function<void(const std::string& line)> onError = nullptr;
    /// The last call; the child may be destroyed in it.
    std::function<void(const ChildEnd& end)> onEnd = nullptr;
  };

  /// Null, with the reason in `error`, when no process can be started.
  [[nodiscard]] static std::unique_ptr<Child> start(Loop& loop, const ChildPlan& plan,
                                                    Listener listener, std::string& error);

  /// Kills it, if it still runs. The listener is not called.
  ~Child();
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  /// Puts a line into its standard input, which it reads in its own time.
  void write(const std::string& line);

  /// Asks it to end, and makes it after a while.
  void end();

 private:
  Child(Loop& loop, Listener listener);

  void readOutput();
  void readErrors();
  void writeSome();
  void closePipe(int& pipe);
  void tryEnd();

  Loop& loop_;
  Listener listener_;
  pid_t process_ = -1;
  int exit_ = -1;  // a pidfd
  int input_ = -1, output_ = -1, errors_ = -1;
  std::string toWrite_;
  std::string errorLine_;  // as much of one as has come
  ChildEnd end_;
  bool isAsked_ = false;
  Loop::Timer timer_ = 0;
};

/// The arguments of a command that works on a certain terminal need not name it: this process has
/// it in its environment, as it is in the children's.
void prepareForChildren(const std::string& terminal);

}  // namespace wz

#endif  // WZ_WORKBENCH_CHILD_H
