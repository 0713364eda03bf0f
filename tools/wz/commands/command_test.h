/// `wz test`: an application's own tests.
#ifndef WZ_COMMANDS_COMMAND_TEST_H
#define WZ_COMMANDS_COMMAND_TEST_H

#include <string>
#include <vector>

namespace wz {

struct TestOptions {
  std::string folder = ".";            // of an application, or of its tests
  std::vector<std::string> arguments;  // for the test runner
  bool asJson = false;
};

/// Runs them by Node.js and the runner that is installed beside them. An exit code.
int testApplication(const TestOptions& options);

}  // namespace wz

#endif  // WZ_COMMANDS_COMMAND_TEST_H
