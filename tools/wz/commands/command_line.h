/// The command line of `wz`: its commands, each with its options and its help, in groups.
#ifndef WZ_COMMANDS_COMMAND_LINE_H
#define WZ_COMMANDS_COMMAND_LINE_H

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <vector>

namespace wz {

/// What the command that the user gave does; it returns an exit code.
using Action = std::function<int()>;

// What an option takes; what is none of that is refused in a few words.
CLI::Validator aboveZero();  ///< a number
CLI::Validator between(double least, const char* leastText, double most, const char* mostText);
CLI::Validator oneOf(const std::vector<std::string>& words);

/// What stands below the options of a command: its examples, a line each, and the exit codes.
std::string footer(const std::string& examples);

// Options that several commands have.
void addTerminal(CLI::App& command, std::string& terminal);
/// Makes the folder the one that WZ_TERMINAL names, so that its authorities are those in force.
void nameTerminal(const std::string& directory);
void addTimeout(CLI::App& command, double& seconds, const std::string& meaning);
void addCount(CLI::App& command, unsigned& count, const std::string& meaning);
void addJson(CLI::App& command, bool& asJson);       ///< one document
void addJsonLines(CLI::App& command, bool& asJson);  ///< an object a line

// Each of these adds commands to `app`. The one that is given sets `action` while the command line
// is parsed; both must outlive that.
void addTerminalCommands(CLI::App& app, Action& action);  ///< terminal create, show
void addRunCommands(CLI::App& app, Action& action);       ///< run, replay, exec
void addMessageCommands(CLI::App& app, Action& action);   ///< listen, notify, reply
void addKeyCommands(CLI::App& app, Action& action);       ///< keys, certs
void addPackageCommands(CLI::App& app, Action& action);   ///< new, pack, inspect, install and so on
void addMatrixCommand(CLI::App& app, Action& action);     ///< matrix
void addStoryCommands(CLI::App& app, Action& action);     ///< history, diff, why
void addHelpCommand(CLI::App& app, Action& action);       ///< help
void addCompletionCommand(CLI::App& app, Action& action);  ///< completion

/// Gives every command of `app` the --quiet and --verbose that its row in a table says; to be
/// called behind all the others.
void addVolumes(CLI::App& app);

/// Refuses empty values of options, but of those for which they mean something; to be called behind
/// all the others.
void refuseEmptyValues(CLI::App& app);

/// `text`, and where to read on: "...; see wz --help". Behind a question in brackets.
std::string withHelp(const std::string& text, const std::string& command);

/// What is wrong with a command line whose `words`, behind the program's name, did not parse.
std::string usageWords(const CLI::App& app, const CLI::ParseError& problem,
                       const std::vector<std::string>& words);

/// "there is no command keys shw; did you mean show?"; nothing where the words are commands as far
/// as they have to be.
std::string unknownCommand(const CLI::App& app, const std::vector<std::string>& words);

/// The words of the command that is meant, also where options stand before it: "keys show". Empty
/// when there is none.
std::string meantCommand(const CLI::App& app, const std::vector<std::string>& words);

/// "--json stands behind the command: wz list --json" where a command's option stands before it;
/// nothing otherwise.
std::string earlyOption(const CLI::App& app, const std::vector<std::string>& words);

/// The words as they are meant: in "--serial=" the value is the empty text, for which the parser
/// would take the next word.
std::vector<std::string> withEmptyValues(const std::vector<std::string>& words);

/// "; did you mean pack?", or nothing where no name is near.
std::string suggestedCommand(const CLI::App& app, const std::string& word);
/// Among the options of the command that was given.
std::string suggestedOption(const CLI::App& app, const std::string& word);

}  // namespace wz

#endif  // WZ_COMMANDS_COMMAND_LINE_H
