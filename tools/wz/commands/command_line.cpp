#include "wz/commands/command_line.h"

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
      ->type_name("DIR");
}

void addTimeout(CLI::App& command, double& seconds, const std::string& meaning) {
  command.add_option("--timeout", seconds, meaning)
      ->type_name("SECONDS")
      ->check(CLI::PositiveNumber);
}

void addCount(CLI::App& command, unsigned& count, const std::string& meaning) {
  command.add_option("--count", count, meaning)->type_name("N")->check(CLI::PositiveNumber);
}

}  // namespace wz
