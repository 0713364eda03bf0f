/// Which folders a terminal directory has, and at which paths its programs see them.
#ifndef WORKSTATION_TERMINAL_TERMINAL_LAYOUT_H
#define WORKSTATION_TERMINAL_TERMINAL_LAYOUT_H

#include <string>
#include <vector>

namespace workstation {

inline constexpr char kFlashFolder[] = "flash";
// A table of authorities of its own; with the development keys of a build it has none.
inline constexpr char kAuthoritiesFolder[] = "authorities";
inline constexpr char kAuthoritiesFile[] = "authorities.txt";
inline constexpr char kHomeFolder[] = "home";
inline constexpr char kRunFolder[] = "run";
inline constexpr char kRootsFolder[] = "roots";

/// Where the terminal's programs find installed applications, a folder each, and what each of those
/// stores in.
inline constexpr char kApplicationRoot[] = "/mnt/flash/etc/config/wzapp/wz";
inline constexpr char kFileSystemRoot[] = "/mnt/flash/etc/config/wzapp/fsroot";

/// usr1 to usr16, then sys1 to sys16: the users of a terminal, each with a home.
const std::vector<std::string>& terminalUsers();

/// A fixed path of the terminal and what is seen there, relative to the terminal directory.
struct TerminalLink {
  std::string path;        // "/home/sys13"
  std::string inTerminal;  // "home/sys13"
};

const std::vector<TerminalLink>& terminalLinks();

/// True when `folder`/`name` ("/home", "sys13") is one of the terminal's fixed paths.
bool isTerminalPath(const std::string& folder, const std::string& name);

}  // namespace workstation

#endif  // WORKSTATION_TERMINAL_TERMINAL_LAYOUT_H
