// --quiet and --verbose: which command has them, and what they mean there.

#include <string>

#include "wz/commands/command_line.h"
#include "wz/reports/output.h"

namespace wz {
namespace {

struct VolumeRow {
  const char* command;  // its words
  const char* quiet;    // null: there is nothing that could be left out
  const char* verbose;  // null: there is nothing more to tell
};

constexpr char kOnlyTrouble[] = "Say only what goes wrong";
constexpr char kOnlyResult[] = "Say nothing beside the notifications";

constexpr VolumeRow kRows[] = {
    {"terminal create", kOnlyTrouble, nullptr},
    {"terminal show", nullptr, nullptr},
    {"run",
     "Tell only errors, warnings, what could not be loaded, and\n"
     "an end with another result than 0",
     nullptr},
    {"replay", kOnlyTrouble, nullptr},
    {"test", "Tell of tests that fail alone", nullptr},
    {"exec", nullptr, nullptr},
    {"listen", kOnlyResult, nullptr},
    {"notify", nullptr, nullptr},
    {"reply", kOnlyResult, nullptr},
    {"host", kOnlyResult, nullptr},
    {"keys init", kOnlyTrouble, nullptr},
    {"keys issue", kOnlyTrouble, nullptr},
    {"keys rotate", kOnlyTrouble, nullptr},
    {"keys show", nullptr, "Of several, too, tell everything"},
    {"certs", kOnlyTrouble, nullptr},
    {"new", kOnlyTrouble, nullptr},
    {"pack", kOnlyTrouble, "Print every check, entry and certificate"},
    {"inspect", "Say nothing of what is accepted", "Print every check, entry and certificate"},
    {"check", "Say nothing of what is sound", "Print the rule behind each finding"},
    {"explain", nullptr, nullptr},
    {"doctor", "Say nothing of what is as it should be", "Print the rule behind each finding"},
    {"tamper", kOnlyTrouble, "Print what was done to each variant"},
    {"install",
     "Say only what is rejected, and what is removed by a\n"
     "rule; without the log",
     "Print the rule behind each finding"},
    {"list", nullptr, nullptr},
    {"remove", kOnlyTrouble, "Print the rule behind each finding"},
    {"history", nullptr,
     "Print also packages with their digests, each change\n"
     "with its cause, and the log"},
    {"diff", nullptr, nullptr},
    {"why", nullptr, nullptr},
    {"matrix", nullptr, nullptr},
    {"workbench", nullptr, nullptr},
    {"help", nullptr, nullptr},
    {"completion", nullptr, nullptr},
};

const VolumeRow* findRow(const std::string& command) {
  for (const VolumeRow& row : kRows) {
    if (command == row.command) return &row;
  }
  return nullptr;
}

// Not by CLI11's own exclusion, which would stand in every --help.
void choose(Volume wanted) {
  if (volume() != Volume::kUsual && volume() != wanted) {
    throw CLI::ExcludesError("--quiet", "--verbose");
  }
  setVolume(wanted);
}

void addFlag(CLI::App& command, const char* name, const char* meaning, Volume wanted) {
  if (meaning == nullptr) return;
  command.add_flag_callback(
      name, [wanted] { choose(wanted); }, meaning);
}

void addTo(CLI::App& command, const std::string& path) {
  for (CLI::App* const below : command.get_subcommands({})) {
    addTo(*below, path + (path.empty() ? "" : " ") + below->get_name());
  }
  const VolumeRow* const row = findRow(path);
  if (row == nullptr) return;
  addFlag(command, "--quiet", row->quiet, Volume::kQuiet);
  addFlag(command, "--verbose", row->verbose, Volume::kVerbose);
}

}  // namespace

void addVolumes(CLI::App& app) { addTo(app, ""); }

}  // namespace wz
