#include <memory>

#include "wz/commands/command_line.h"
#include "wz/commands/command_matrix.h"

namespace wz {

void addMatrixCommand(CLI::App& app, Action& action) {
  const auto kept = std::make_shared<MatrixOptions>();
  CLI::App& command = *app.add_subcommand("matrix", "Try packages on many terminals, each on each");
  command.add_option("FILE", kept->packages, "The packages; they stay where they are")
      ->type_name("");
  command
      .add_option("--terminals", kept->terminals,
                  "Terminals' folders, folders of such, profiles as in\n"
                  "terminal.json, JSON lines with a profile each; -:\n"
                  "such lines on standard input")
      ->type_name("PATH")
      ->expected(-1);
  command.add_flag("--together", kept->isTogether,
                   "Try all packages in one installation, as a set");
  command
      .add_option("-o,--output", kept->output,
                  "File for what is found, a JSON object a line, cell by\n"
                  "cell; the table is printed all the same")
      ->type_name("FILE");
  command.add_flag("--resume", kept->resumes,
                   "Go on where the file of -o ends, after an interrupt");
  command.add_option("--html", kept->page, "File for a page with the table and all reasons")
      ->type_name("FILE");
  command
      .add_option("--shard", kept->share,
                  "Do the share K of N, from 1, so that N machines or\n"
                  "jobs do the whole")
      ->type_name("K/N");
  command
      .add_option("--merge", kept->merged,
                  "Instead of packages and terminals: put the files of\n"
                  "all shares together")
      ->type_name("FILE")
      ->expected(-1);
  command
      .add_option("--jobs", kept->jobs,
                  "How many trials go on at once (default: one for each\n"
                  "processor)")
      ->type_name("N")
      ->check(aboveZero());
  addTimeout(command, kept->timeoutSeconds, "How long one trial may take (default: 120)");
  command.add_flag("--distinct", kept->isDistinct,
                   "Tell equal terminals as one: by the name of the first,\n"
                   "with their count");
  command.add_flag("--ungrouped", kept->isUngrouped,
                   "Try each terminal by itself, also where another one is\n"
                   "equal to it in all that installations look at");
  addJsonLines(command, kept->asJson);
  command.footer(
      footer("  wz matrix shop.zip tip.zip --terminals desk counter\n"
             "  wz matrix *.zip --terminals fleet.jsonl -o found.jsonl --html found.html\n"
             "  wz matrix *.zip --terminals fleet.jsonl -o 3.jsonl --shard 3/8\n"
             "  wz matrix --merge 1.jsonl 2.jsonl 3.jsonl -o found.jsonl\n") +
      "\n\nTerminals are tried in memory and stay as they are. 1 tells that a package is refused\n"
      "somewhere.");
  command.callback([&action, kept] { action = [kept] { return matrix(*kept); }; });
}

}  // namespace wz
