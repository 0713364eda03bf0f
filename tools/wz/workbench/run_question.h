/// What a page wants to have run, and the command line that runs it.
#ifndef WZ_WORKBENCH_RUN_QUESTION_H
#define WZ_WORKBENCH_RUN_QUESTION_H

#include <map>
#include <string>
#include <vector>

#include "wz/workbench/answer.h"
#include "zelipc/zelipc.h"

namespace wz {

struct RunQuestion {
  std::string application, folder;  ///< one of them
  std::string entry;
  std::map<std::string, std::string> parameters;
  int width = 0, height = 0;  ///< 0: the terminal's
  std::string locale;         ///< empty: the machine's
  bool hasNoTouch = false;
  int keys = -1;  ///< -1: the terminal's
  double timeoutSeconds = 0;
  bool isRecorded = false;
};

/// What is wrong with the question; nothing: `run` is it.
[[nodiscard]] Problem readRunQuestion(const zelipc::JSObject& question, RunQuestion& run);

/// The arguments of `wz`. \param recording  file; empty: none.
[[nodiscard]] std::vector<std::string> runArguments(const RunQuestion& run,
                                                    const std::string& recording);

}  // namespace wz

#endif  // WZ_WORKBENCH_RUN_QUESTION_H
