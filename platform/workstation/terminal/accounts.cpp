#include "workstation/terminal/accounts.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string_view>
#include <vector>

namespace workstation {
namespace {

constexpr char kSystemGroup[] = "system";

std::vector<std::string> readLines(const char* path) {
  std::vector<std::string> lines;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

std::string_view field(std::string_view line, int index) {
  for (; index > 0; --index) {
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) return {};
    line.remove_prefix(colon + 1);
  }
  return line.substr(0, line.find(':'));
}

bool isLoginName(std::string_view name) {
  return !name.empty() && name.size() <= 32 && std::all_of(name.begin(), name.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' || c == '-' || c == '.';
  });
}

std::string loginName() {
  const char* const user = std::getenv("USER");
  // Root is somebody else inside, and a second line named "root" would mislead.
  if (user == nullptr || !isLoginName(user) || std::string_view(user) == "root") return "terminal";
  return user;
}

std::string homePath() {
  const char* const home = std::getenv("HOME");
  if (home == nullptr || home[0] != '/') return "/";
  return std::string_view(home).find_first_of(":\n") == std::string_view::npos ? home : "/";
}

}  // namespace

std::string groupFile(unsigned gid) {
  std::string text = std::string(kSystemGroup) + ":x:" + std::to_string(gid) + ":\n";
  for (const std::string& line : readLines("/etc/group")) {
    if (field(line, 0) != kSystemGroup) text += line + "\n";
  }
  return text;
}

std::string passwdFile(unsigned uid, unsigned gid, bool assumed) {
  const std::vector<std::string> lines = readLines("/etc/passwd");
  const std::string id = std::to_string(uid);
  const bool known = std::any_of(lines.begin(), lines.end(),
                                 [&id](const std::string& line) { return field(line, 2) == id; });
  if (known && !assumed) return {};
  std::string text =
      loginName() + ":x:" + id + ":" + std::to_string(gid) + "::" + homePath() + ":/bin/sh\n";
  for (const std::string& line : lines) text += line + "\n";
  return text;
}

}  // namespace workstation
