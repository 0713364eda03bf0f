/// Programs that a host file asks for answers.
#ifndef WZ_HOST_PROGRAMS_H
#define WZ_HOST_PROGRAMS_H

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace wz {

struct ProgramOutput {
  std::string output;   ///< what it wrote to its standard output
  std::string failure;  ///< empty: it ended with 0 in time
};

/// Runs programs beside the calling thread, a few at a time, the others in their order. The
/// destructor kills those that run and waits for their ends.
class Programs {
 public:
  Programs();
  ~Programs();
  Programs(const Programs&) = delete;
  Programs& operator=(const Programs&) = delete;

  /// Starts the program with `input` on its standard input, in `folder`; `done` is called with what
  /// came of it, on a thread of its own.
  void start(std::vector<std::string> program, std::string folder, std::string input,
             std::chrono::milliseconds timeout, std::function<void(ProgramOutput)> done);

 private:
  struct Shared;
  const std::shared_ptr<Shared> shared_;
};

}  // namespace wz

#endif  // WZ_HOST_PROGRAMS_H
