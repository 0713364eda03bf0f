#include "wz/commands/command_line.h"

#include <stdlib.h>

#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace wz {
namespace {

constexpr char kExitCodes[] =
    "Exit codes:\n"
    "  0  done\n"
    "  1  the application failed, the file was rejected, or what was waited for did not come\n"
    "  2  the command line is wrong\n"
    "  3  the terminal, the machine or a file does not allow it";

}  // namespace

std::string footer(const std::string& examples) {
  return "\nExamples:\n" + examples + "\n" + kExitCodes;
}

void addTerminal(CLI::App& command, std::string& terminal) {
  command
      .add_option("--terminal", terminal,
                  "Folder of the terminal (default: what the\nenvironment variable WZ_TERMINAL "
                  "says, or one among\nyour data that is made at its first use)")
      ->type_name("DIR")
      ->each(nameTerminal);
}

void nameTerminal(const std::string& directory) {
  std::error_code failure;
  const std::filesystem::path path = std::filesystem::absolute(directory, failure);
  setenv("WZ_TERMINAL", failure ? directory.c_str() : path.c_str(), 1);
}

void addTimeout(CLI::App& command, double& seconds, const std::string& meaning) {
  command.add_option("--timeout", seconds, meaning)->type_name("SECONDS")->check(aboveZero());
}

void addCount(CLI::App& command, unsigned& count, const std::string& meaning) {
  command.add_option("--count", count, meaning)->type_name("N")->check(aboveZero());
}

void addJson(CLI::App& command, bool& asJson) {
  command.add_flag("--json", asJson, "Print one JSON document");
}

void addJsonLines(CLI::App& command, bool& asJson) {
  command.add_flag("--json", asJson, "Print one JSON object a line");
}

}  // namespace wz
