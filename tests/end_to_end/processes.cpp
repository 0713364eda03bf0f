#include "tests/end_to_end/processes.h"

#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <system_error>

#include "tests/end_to_end/waiting.h"

namespace wzapp_test {
namespace {

// What could be read of a file: a process may end in between, which is a read error.
std::string readWhole(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream content;
  content << file.rdbuf();
  return content.str();
}

// The parent of a process; 0 for one that has ended. proc(5): "PID (NAME) STATE PARENT ...".
pid_t parentOf(const std::string& process) {
  const std::string status = readWhole("/proc/" + process + "/stat");
  const std::size_t nameEnd = status.rfind(')');
  if (nameEnd == std::string::npos || nameEnd + 4 >= status.size()) return 0;
  const char state = status[nameEnd + 2];
  return state == 'Z' || state == 'X' ? 0 : std::stoi(status.substr(nameEnd + 4));
}

std::multimap<pid_t, pid_t> childrenByParent() {
  std::multimap<pid_t, pid_t> children;
  std::error_code error;
  for (std::filesystem::directory_iterator entry("/proc", error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    if (!std::all_of(name.begin(), name.end(), [](unsigned char c) { return std::isdigit(c); })) {
      continue;
    }
    if (const pid_t parent = parentOf(name)) children.emplace(parent, std::stoi(name));
  }
  return children;
}

}  // namespace

std::vector<pid_t> descendantsOf(pid_t ancestor) {
  const auto children = childrenByParent();
  std::vector<pid_t> found;
  for (std::size_t next = 0, parent = static_cast<std::size_t>(ancestor);;) {
    const auto range = children.equal_range(static_cast<pid_t>(parent));
    for (auto child = range.first; child != range.second; ++child) found.push_back(child->second);
    if (next == found.size()) return found;
    parent = static_cast<std::size_t>(found[next++]);
  }
}

std::vector<pid_t> allProcesses() {
  std::vector<pid_t> found;
  for (const auto& [parent, child] : childrenByParent()) found.push_back(child);
  return found;
}

std::string commandLineOf(pid_t process) {
  std::string line = readWhole("/proc/" + std::to_string(process) + "/cmdline");
  std::replace(line.begin(), line.end(), '\0', ' ');
  return line;
}

std::vector<pid_t> withArgument(const std::vector<pid_t>& processes, const std::string& part) {
  std::vector<pid_t> found;
  for (const pid_t process : processes) {
    if (commandLineOf(process).find(part) != std::string::npos) found.push_back(process);
  }
  return found;
}

pid_t browserOf(pid_t host) {
  for (const pid_t process : withArgument(descendantsOf(host), "--remote-debugging-pipe")) {
    if (commandLineOf(process).find("--type=") == std::string::npos) return process;
  }
  return -1;
}

std::vector<pid_t> renderersOf(pid_t host) {
  return withArgument(descendantsOf(host), "--type=renderer");
}

WatchedProcesses::WatchedProcesses(const std::vector<pid_t>& processes) {
  for (const pid_t process : processes) {
    // One that has gone already needs no watching.
    const long file = syscall(SYS_pidfd_open, process, 0);
    if (file >= 0) files_.push_back(static_cast<int>(file));
  }
}

WatchedProcesses::~WatchedProcesses() {
  for (const int file : files_) close(file);
}

bool WatchedProcesses::awaitEnd() {
  using std::chrono::milliseconds;
  using Clock = std::chrono::steady_clock;
  const auto deadline = Clock::now() + kPatience;
  for (const int file : files_) {
    pollfd entry = {file, POLLIN, 0};
    int count = 0;
    do {
      const auto left = std::chrono::duration_cast<milliseconds>(deadline - Clock::now());
      count = poll(&entry, 1, static_cast<int>(std::max(left, milliseconds(0)).count()));
    } while (count < 0 && errno == EINTR);
    if (count <= 0) return false;
  }
  return true;
}

}  // namespace wzapp_test
