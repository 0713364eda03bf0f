// What is wrong with a command line, in a few words.

#include <algorithm>
#include <regex>
#include <string>
#include <string_view>
#include <vector>

#include "wz/commands/command_line.h"
#include "wz/reports/output.h"

namespace wz {
namespace {

bool isOption(const std::string& word) { return word.size() > 1 && word[0] == '-'; }

// The arguments that the command does not take, in the order in which they were given.
std::vector<std::string> unexpected(const CLI::App& app, const std::vector<std::string>& words) {
  std::vector<std::string> rest = app.remaining(true);
  std::vector<std::string> inOrder;
  for (const std::string& word : words) {
    const auto found = std::ranges::find(rest, word);
    if (found == rest.end()) continue;
    inOrder.push_back(word);
    rest.erase(found);
  }
  inOrder.insert(inOrder.end(), rest.begin(), rest.end());
  return inOrder;
}

std::string namesBelow(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* const command : app.get_subcommands({}))
    names.push_back(command->get_name());
  return joined(names);
}

// The command that was given, as far as it was.
const CLI::App& givenCommand(const CLI::App& app) {
  const CLI::App* at = &app;
  while (!at->get_subcommands().empty()) at = at->get_subcommands().front();
  return *at;
}

// What the parser says, in words of this program.
std::string reworded(const std::string& text) {
  static const std::pair<std::regex, const char*> kRows[] = {
      {std::regex("Could not convert: (.*) = (.*)"), "$1: a number is wanted, not $2"},
      {std::regex("(.*): 1 required (\\w+) missing"), "$1: $2 is missing"},
  };
  for (const auto& [pattern, words] : kRows) {
    if (std::regex_match(text, pattern)) return std::regex_replace(text, pattern, words);
  }
  return text;
}

}  // namespace

std::string usageWords(const CLI::App& app, const CLI::ParseError& problem,
                       const std::vector<std::string>& words) {
  const bool isTooMuch = dynamic_cast<const CLI::ExtrasError*>(&problem) != nullptr;
  const bool isTooLittle = dynamic_cast<const CLI::RequiredError*>(&problem) != nullptr;
  const std::vector<std::string> rest = unexpected(app, words);
  const auto option = std::ranges::find_if(rest, isOption);
  if ((isTooMuch || isTooLittle) && option != rest.end()) {
    return "there is no option " + *option + suggestedOption(app, *option);
  }
  if (isTooMuch && !rest.empty()) return "not expected: " + joined(rest, " ");
  const CLI::App& command = givenCommand(app);
  if (isTooLittle && !command.get_subcommands({}).empty()) {
    return "name one of its commands: " + namesBelow(command);
  }
  return reworded(problem.what());
}

std::string unknownCommand(const CLI::App& app, const std::vector<std::string>& words) {
  const CLI::App* at = &app;
  std::string path;
  for (const std::string& word : words) {
    const std::vector<const CLI::App*> below = at->get_subcommands({});
    if (below.empty() || word.empty() || word[0] == '-') break;
    const auto found = std::ranges::find(below, word, &CLI::App::get_name);
    if (found == below.end()) {
      return "there is no command " + path + word + suggestedCommand(*at, word);
    }
    path += word + " ";
    at = *found;
  }
  return {};
}

std::string meantCommand(const CLI::App& app, const std::vector<std::string>& words) {
  const CLI::App* at = &app;
  std::string path;
  const bool areOptionsFirst = !words.empty() && isOption(words.front());
  for (const std::string& word : words) {
    if (word == "--") break;
    const std::vector<const CLI::App*> below = at->get_subcommands({});
    const auto found = std::ranges::find(below, word, &CLI::App::get_name);
    if (found != below.end()) {
      path += (path.empty() ? "" : " ") + word;
      at = *found;
    } else if (!path.empty() || !areOptionsFirst) {
      break;
    }
  }
  return path;
}

std::string earlyOption(const CLI::App& app, const std::vector<std::string>& words) {
  if (words.empty() || !isOption(words.front())) return {};
  const std::string option = words.front().substr(0, words.front().find('='));
  if (app.get_option_no_throw(option) != nullptr) return {};
  const std::string command = meantCommand(app, words);
  if (command.empty()) return {};
  return option + " stands behind the command: wz " + command + " " + option;
}

std::vector<std::string> withEmptyValues(const std::vector<std::string>& words) {
  std::vector<std::string> meant;
  bool areOptions = true;
  for (const std::string& word : words) {
    areOptions = areOptions && word != "--";
    if (areOptions && word.starts_with("--") && word.find('=') == word.size() - 1) {
      meant.push_back(word.substr(0, word.size() - 1));
      meant.emplace_back();
    } else {
      meant.push_back(word);
    }
  }
  return meant;
}

CLI::Validator aboveZero() {
  const auto check = [](const std::string& text) {
    char* end = nullptr;
    const double number = std::strtod(text.c_str(), &end);
    const bool isOne = !text.empty() && *end == '\0' && number > 0;
    return isOne ? std::string() : "a number above 0 is wanted, not " + text;
  };
  return {check, ""};
}

CLI::Validator between(double least, const char* leastText, double most, const char* mostText) {
  const auto check = [=](const std::string& text) {
    char* end = nullptr;
    const double number = std::strtod(text.c_str(), &end);
    const bool isOne = !text.empty() && *end == '\0' && number >= least && number <= most;
    return isOne ? std::string()
                 : std::string("a number from ") + leastText + " to " + mostText +
                       " is wanted, not " + text;
  };
  return {check, ""};
}

CLI::Validator oneOf(const std::vector<std::string>& words) {
  const auto check = [words](const std::string& text) {
    const bool isOne = std::ranges::find(words, text) != words.end();
    return isOne ? std::string() : joined(words, " or ") + " is wanted, not " + text;
  };
  return {check, ""};
}

}  // namespace wz
