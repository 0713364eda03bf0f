// Options whose value is empty, as that of a script's variable that was never set: a name, a file
// or a number that is nothing would otherwise count as not given, or as 0.

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>

#include "wz/commands/command_line.h"

namespace wz {
namespace {

// For which the empty text is a value as any other.
constexpr std::string_view kMayBeEmpty[] = {
    "--entry", "--from", "--model", "--param", "--serial", "--sponsor-text", "--triggers-version"};

// It is "no sponsor" where a terminal is made.
bool mayBeEmpty(const CLI::App& command, const std::string& name) {
  return std::ranges::find(kMayBeEmpty, name) != std::end(kMayBeEmpty) ||
         (name == "--sponsor" && command.get_name() == "create");
}

std::string whyEmpty(const std::string& value) {
  return value.empty() ? "a value is wanted, not an empty one" : "";
}

}  // namespace

void refuseEmptyValues(CLI::App& app) {
  for (CLI::App* const below : app.get_subcommands({})) refuseEmptyValues(*below);
  for (CLI::Option* const option : app.get_options()) {
    const bool isFlag = option->get_items_expected_max() == 0;
    if (isFlag || option->get_positional() || mayBeEmpty(app, option->get_name())) continue;
    option->check(CLI::Validator(whyEmpty, ""));
  }
}

}  // namespace wz
