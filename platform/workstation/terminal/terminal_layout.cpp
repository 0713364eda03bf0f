#include "workstation/terminal/terminal_layout.h"

#include <algorithm>

namespace workstation {
namespace {

constexpr int kUsersOfAKind = 16;

std::vector<std::string> makeUsers() {
  std::vector<std::string> users;
  for (const char* const kind : {"usr", "sys"}) {
    for (int number = 1; number <= kUsersOfAKind; ++number) {
      users.push_back(kind + std::to_string(number));
    }
  }
  return users;
}

std::vector<TerminalLink> makeLinks() {
  std::vector<TerminalLink> links{{"/mnt/flash", kFlashFolder}};
  for (const std::string& user : terminalUsers()) {
    links.push_back({"/home/" + user, std::string(kHomeFolder) + "/" + user});
  }
  return links;
}

}  // namespace

const std::vector<std::string>& terminalUsers() {
  static const std::vector<std::string> users = makeUsers();
  return users;
}

const std::vector<TerminalLink>& terminalLinks() {
  static const std::vector<TerminalLink> links = makeLinks();
  return links;
}

bool isTerminalPath(const std::string& folder, const std::string& name) {
  const std::string path = folder + "/" + name;
  const std::vector<TerminalLink>& links = terminalLinks();
  return std::any_of(links.begin(), links.end(),
                     [&path](const TerminalLink& link) { return link.path == path; });
}

}  // namespace workstation
