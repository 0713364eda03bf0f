#include "wz/tamper/player.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "installer/directories.h"
#include "packaging/temporary_folders.h"
#include "workstation/terminal/terminal_directory.h"
#include "workstation/terminal/terminal_layout.h"
#include "workstation/terminal/terminal_namespace.h"
#include "workstation/terminal/terminal_profile.h"
#include "wz/reports/output.h"
#include "wz/terminal/own_terminal.h"
#include "wz/words/exit_code.h"
#include "wz/words/explain.h"

namespace wz {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kLongestRun{120};
constexpr std::string_view kResultBegin = "Overall result: ";
constexpr std::string_view kFlashMount = "/mnt/flash";

// Where a path of the terminal lies outside of it.
fs::path outside(const std::string& terminal, const char* path) {
  return fs::path(terminal) / workstation::kFlashFolder /
         std::string(path).substr(kFlashMount.size() + 1);
}

// ---- Comparison --------------------------------------------------------------------------------

// * stands for anything.
bool fits(std::string_view pattern, std::string_view text) {
  const std::size_t star = pattern.find('*');
  if (star == std::string_view::npos) return pattern == text;
  if (!text.starts_with(pattern.substr(0, star))) return false;
  const std::string_view rest = pattern.substr(star + 1);
  for (std::size_t at = star; at <= text.size(); ++at) {
    if (fits(rest, text.substr(at))) return true;
  }
  return false;
}

bool tells(const std::string& line) { return matchLogLine(line).code != nullptr; }

std::string resultIn(const std::vector<std::string>& log) {
  for (auto line = log.rbegin(); line != log.rend(); ++line) {
    const std::size_t at = line->find(kResultBegin);
    if (at != std::string::npos) return line->substr(at + kResultBegin.size());
  }
  return {};
}

void addOther(std::string& otherwise, const std::string& text) {
  otherwise += (otherwise.empty() ? "" : "; ") + text;
}

// ---- The host ----------------------------------------------------------------------------------

// A child that leads a group of its own, which the shell and what it starts are in.
pid_t forkGroup() {
  const pid_t child = fork();
  if (child >= 0) setpgid(child, 0);  // by both, since neither may wait for the other
  return child;
}

[[noreturn]] void become(const std::string& terminal, const std::string& host, int output) {
  packaging::leaveFoldersToParent();
  std::string error;
  if (!workstation::enterTerminal(terminal, error)) {
    printMessage(error);
    _exit(kEnvironment);
  }
  dup2(output, STDOUT_FILENO);
  dup2(output, STDERR_FILENO);
  execl("/bin/sh", "sh", "-c", host.c_str(), nullptr);
  _exit(kEnvironment);
}

// Reads until every end of the pipe is closed. False when that takes too long.
bool readAll(int pipe, std::string& text) {
  const auto deadline = Clock::now() + kLongestRun;
  std::array<char, 4096> block;
  for (;;) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    pollfd waiting{pipe, POLLIN, 0};
    const int ready = left.count() <= 0 ? 0 : poll(&waiting, 1, static_cast<int>(left.count()));
    if (ready < 0 && errno == EINTR) continue;
    if (ready <= 0) return false;
    const ssize_t count = read(pipe, block.data(), block.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return count == 0;
    text.append(block.data(), static_cast<std::size_t>(count));
  }
}

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find('\n', at), text.size());
    std::string line = text.substr(at, end - at);
    if (line.ends_with('\r')) line.pop_back();
    lines.push_back(std::move(line));
    at = end + 1;
  }
  return lines;
}

// Runs the host once. False with a line of text in `error`.
bool runHost(const std::string& terminal, const std::string& host, std::vector<std::string>& log,
             std::string& error) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) {
    error = std::string("cannot make a pipe: ") + std::strerror(errno);
    return false;
  }
  const pid_t child = packaging::startKilledBeforeRemoval(forkGroup);
  if (child == 0) become(terminal, host, ends[1]);
  close(ends[1]);
  if (child < 0) {
    close(ends[0]);
    error = std::string("cannot start ") + host + ": " + std::strerror(errno);
    return false;
  }
  std::string text;
  const bool isOver = readAll(ends[0], text);
  close(ends[0]);
  if (!isOver) kill(-child, SIGKILL);
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  packaging::forgetKilledBeforeRemoval();
  log = linesOf(text);
  if (!isOver) {
    error = host + " was not done after " + std::to_string(kLongestRun.count()) + " s";
  } else if (WIFSIGNALED(status)) {
    error = host + " was ended by the signal " + std::to_string(WTERMSIG(status));
  } else if (resultIn(log).empty()) {
    error = host + " has written no \"Overall result: \"; it is to install and to write the log";
  }
  return error.empty();
}

}  // namespace

Difference compareLog(const KeptVariant& variant, const std::vector<std::string>& log) {
  Difference difference{variant.name, variant.what, variant.expected.log, {}, {}};
  for (const std::string& line : log) {
    if (!tells(line)) continue;
    const auto found =
        std::find_if(difference.missing.begin(), difference.missing.end(),
                     [&line](const std::string& pattern) { return fits("*" + pattern, line); });
    if (found == difference.missing.end()) {
      difference.unexpected.push_back(line);
    } else {
      difference.missing.erase(found);
    }
  }
  if (const std::string result = resultIn(log); result != variant.expected.result) {
    addOther(difference.otherwise,
             "the overall result is " + result + ", not " + variant.expected.result);
  }
  return difference;
}

Player::~Player() {
  if (!folder_.empty()) packaging::removeTemporaryFolder(folder_);
}

bool Player::begin(const std::string& labDirectory, const KeptLab& lab, const std::string& terminal,
                   std::string& error) {
  labDirectory_ = labDirectory;
  application_ = lab.application;
  workstation::NewTerminal made = defaultTerminal();
  made.profile.sponsorId = lab.sponsors.front();
  if (terminal.empty()) {
    if (!addTrust(made, error)) return false;
  } else {
    workstation::ProfileError problem;
    if (!workstation::loadTerminalProfile(terminal, made.profile, problem)) {
      error = problem.text();
      return false;
    }
    made.roots = made.profile.rootsDirectory;
    if (!addTrustOf(terminal, made, error)) return false;
    if (std::find(lab.sponsors.begin(), lab.sponsors.end(), made.profile.sponsorId) ==
        lab.sponsors.end()) {
      error = "the terminal " + terminal + " is of the sponsor " + made.profile.sponsorId +
              ", which the package is not for";
      return false;
    }
  }
  std::error_code failure;
  const fs::path parent = fs::temp_directory_path(failure);
  folder_ = (parent / "wz-tamper-XXXXXX").string();
  if (failure || !packaging::makeTemporaryFolder(folder_)) {
    error = packaging::temporaryFolderProblem(parent.string());
    folder_.clear();
    return false;
  }
  terminal_ = folder_ + "/terminal";
  bool isMade = false;
  packaging::whileFoldersStay(
      [&] { isMade = workstation::createTerminal(terminal_, made, error); });
  return isMade;
}

bool Player::reset(const KeptVariant& variant, std::string& error) const {
  const fs::path source = outside(terminal_, wzapp::kSourceDir);
  std::error_code failure;
  packaging::whileFoldersStay([&] {
    fs::remove_all(outside(terminal_, wzapp::kConfigRoot), failure);
    fs::remove_all(source, failure);
    fs::create_directories(source, failure);
    fs::permissions(source, fs::perms::all, failure);
    fs::copy(fs::path(labDirectory_) / variant.name, source, fs::copy_options::recursive, failure);
  });
  if (failure) error = "cannot drop " + variant.name + ": " + failure.message();
  return !failure;
}

bool Player::play(const KeptVariant& variant, const std::string& host, Difference& difference,
                  std::string& error) {
  std::vector<std::string> log;
  if (!reset(variant, error) || !runHost(terminal_, host, log, error)) return false;
  difference = compareLog(variant, log);
  std::error_code failure;
  const bool isInstalled = fs::exists(outside(terminal_, wzapp::kAppRoot) / application_, failure);
  if (isInstalled != variant.expected.isInstalled) {
    addOther(difference.otherwise, isInstalled ? "the application is installed, and must not be"
                                               : "the application is not installed");
  }
  if (fs::exists(outside(terminal_, wzapp::kTemporaryFile), failure)) {
    addOther(difference.otherwise, "the installer's temporary file is still there");
  }
  return true;
}

}  // namespace wz
