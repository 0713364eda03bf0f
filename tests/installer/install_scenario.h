// A run with everything in it, for tests that disturb it at every one of its file operations.
#ifndef WZAPP_TESTS_INSTALLER_INSTALL_SCENARIO_H
#define WZAPP_TESTS_INSTALLER_INSTALL_SCENARIO_H

#include <map>
#include <string>

#include "tests/installer/install_fixture.h"

namespace wzapp_test {

// Every file below the installer's roots and the source directory with its content; a directory has
// "/" behind its name.
using Snapshot = std::map<std::string, std::string>;

class ScenarioTest : public InstallTest {
 protected:
  // The name of a file and what is in it.
  using Files = std::map<std::string, std::string>;

  // Puts back what the scenario begins with.
  void prepare();
  // The package files of the scenario only.
  void dropPackages();

  [[nodiscard]] Snapshot snapshot() const;

  // Installed before: an older version of "shop"; "gone", which a package will uninstall; "lapsed",
  // whose manifest lists another sponsor. New: "shop", "tool", "fail", whose imports are missing,
  // and a file that is no archive.
  static const Files& installed();
  static const Files& packages();
};

// Whether every point is to be tried, or a sample that fits into the daily run.
bool triesEveryPoint();

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_INSTALLER_INSTALL_SCENARIO_H
