#include "workstation/browser/engine/files/directory_rules.h"

#include <algorithm>
#include <filesystem>
#include <limits>
#include <system_error>
#include <vector>

#include "workstation/terminal/terminal_layout.h"
#include "workstation/terminal/terminal_profile.h"

namespace workstation {
namespace {

struct Rule {
  DirectoryUse use;
  const char* root;         // in a terminal
  std::size_t least, most;  // names below the root
};

constexpr std::size_t kAnyNumber = std::numeric_limits<std::size_t>::max();

constexpr Rule kRules[] = {
    {DirectoryUse::kApplication, kApplicationRoot, 1, 1},
    {DirectoryUse::kInApplication, kApplicationRoot, 2, kAnyNumber},
    {DirectoryUse::kFileSystem, kFileSystemRoot, 1, 1},
    {DirectoryUse::kFileSystemRoot, kFileSystemRoot, 0, 0},
};

const Rule& ruleFor(DirectoryUse use) {
  return *std::ranges::find_if(kRules, [use](const Rule& rule) { return rule.use == use; });
}

// A folder is played as a terminal only where the fixed paths lead into it; its name alone, in the
// environment, says less.
bool isInsideTerminal() {
  const std::string terminal = terminalDirectory();
  if (terminal.empty()) return false;
  const TerminalLink& flash = terminalLinks().front();
  std::error_code failure;
  return std::filesystem::read_symlink(flash.path, failure) == terminal + "/" + flash.inTerminal;
}

// The names of an absolute path; false for one that is not absolute or has a step that is no name.
bool splitPlain(std::string_view path, std::vector<std::string_view>& names) {
  if (path.empty() || path.front() != '/') return false;
  path.remove_prefix(1);
  while (!path.empty()) {
    const std::size_t end = std::min(path.find('/'), path.size());
    const std::string_view name = path.substr(0, end);
    if (name.empty() || name == "." || name == ".." ||
        name.find_first_of(std::string_view("\\\0", 2)) != std::string_view::npos) {
      return false;
    }
    names.push_back(name);
    path.remove_prefix(std::min(end + 1, path.size()));
  }
  return true;
}

bool liesWhereItBelongs(const Rule& rule, const std::vector<std::string_view>& names) {
  std::vector<std::string_view> root;
  if (!splitPlain(rule.root, root) || names.size() < root.size()) return false;
  const std::size_t below = names.size() - root.size();
  return std::equal(root.begin(), root.end(), names.begin()) && below >= rule.least &&
         below <= rule.most;
}

}  // namespace

std::string whyNoDirectory(DirectoryUse use, std::string_view path) {
  if (path.empty()) return {};
  const std::string shown(path);
  std::vector<std::string_view> names;
  if (!splitPlain(path, names) || names.empty()) {
    return shown +
           " is no directory for an application: it must be an absolute path of plain names";
  }
  const Rule& rule = ruleFor(use);
  if (isInsideTerminal() && !liesWhereItBelongs(rule, names)) {
    return shown + " is no directory for an application: it must lie in " + rule.root;
  }
  return {};
}

}  // namespace workstation
