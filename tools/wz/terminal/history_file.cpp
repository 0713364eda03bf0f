#include "wz/terminal/history_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <utility>

#include "support/file_system.h"
#include "workstation/terminal/terminal_directory.h"
#include "wz/reports/output.h"
#include "wz/terminal/session.h"

namespace wz {
namespace {

// Whoever else writes there; nothing that this program writes comes near it.
constexpr std::size_t kMaxFileSize = kMaxHistorySize + 8 * kMaxLogSize;

std::string pathIn(const std::string& terminalDir) { return terminalDir + "/" + kHistoryFile; }

class File {
 public:
  File(const std::string& path, int flags)
      : descriptor_(open(path.c_str(), flags | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0644)) {}
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }

  [[nodiscard]] int get() const { return descriptor_; }

  // False with errno.
  [[nodiscard]] bool write(std::string_view text) const {
    return wzapp::writeWhole(descriptor_, wzapp::viewOf(text)) && fdatasync(descriptor_) == 0;
  }

 private:
  int descriptor_;
};

// The text up to its last whole line, and whether there was more. A file that is not there is
// empty. False with errno.
bool readLines(const std::string& path, std::string& text, bool& isTorn) {
  text.clear();
  isTorn = false;
  if (access(path.c_str(), F_OK) != 0 && errno == ENOENT) return true;
  errno = EFBIG;
  if (!wzapp::readFile(path.c_str(), text, kMaxFileSize)) return false;
  const std::size_t end = text.rfind('\n');
  const std::size_t whole = end == std::string::npos ? 0 : end + 1;
  isTorn = whole != text.size();
  text.resize(whole);
  return true;
}

std::vector<std::string_view> linesOf(std::string_view text) {
  std::vector<std::string_view> lines;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    lines.push_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

// What stands at the end of a log says most, what stands at its beginning comes next.
void shorten(HistoryEvent& event) {
  std::size_t size = 0;
  for (const std::string& line : event.log) size += line.size() + 1;
  std::vector<std::string>& log = event.log;
  std::size_t at = log.size() / 4;
  while (size > kMaxLogSize && !log.empty()) {
    at = std::min(at, log.size() - 1);
    std::size_t count = 0;
    while (size > kMaxLogSize && at + count < log.size()) size -= log[at + count++].size() + 1;
    log.erase(log.begin() + static_cast<std::ptrdiff_t>(at),
              log.begin() + static_cast<std::ptrdiff_t>(at + count));
    event.linesLeftOut += count;
    at /= 2;
  }
}

std::uint64_t lastNumber(const std::vector<std::string_view>& lines) {
  for (auto line = lines.rbegin(); line != lines.rend(); ++line) {
    HistoryEvent event;
    if (readHistoryLine(*line, event)) return event.number;
  }
  return 0;
}

// The newer events that take half the room at the most.
std::string newerHalf(const std::vector<std::string_view>& lines) {
  std::size_t first = lines.size(), size = 0;
  while (first > 0 && size + lines[first - 1].size() + 1 <= kMaxHistorySize / 2) {
    size += lines[--first].size() + 1;
  }
  std::string text;
  for (std::size_t i = first; i < lines.size(); ++i) text.append(lines[i]).append("\n");
  return text;
}

bool fail(const std::string& path, const char* what, std::string& error) {
  error = std::string("the terminal's history in ") + path + " cannot be " + what + ": " +
          std::strerror(errno);
  return false;
}

}  // namespace

bool readHistory(const std::string& terminalDir, History& history, std::string& error) {
  const std::string path = pathIn(terminalDir);
  std::string text;
  bool isTorn = false;
  if (!readLines(path, text, isTorn)) return fail(path, "read", error);
  std::size_t number = 0;
  for (const std::string_view line : linesOf(text)) {
    ++number;
    HistoryEvent event;
    if (readHistoryLine(line, event)) {
      history.events.push_back(std::move(event));
    } else {
      history.remarks.push_back("line " + std::to_string(number) + " of " + path +
                                " is no event and is passed over");
    }
  }
  if (isTorn) {
    history.remarks.push_back("the last line of " + path +
                              " is cut off, as by a kill, and is passed over");
  }
  return true;
}

bool enterToReadHistory(const std::string& terminal, History& history) {
  std::string error;
  if (!enterChosenTerminal(terminal)) return false;
  if (!readHistory(workstation::terminalDirectory(), history, error)) {
    printMessage(error);
    return false;
  }
  for (const std::string& remark : history.remarks) printNote("note: " + remark);
  return true;
}

bool appendHistory(const std::string& terminalDir, HistoryEvent& event, std::string& error) {
  const std::string path = pathIn(terminalDir);
  std::string text;
  bool isTorn = false;
  if (!readLines(path, text, isTorn)) return fail(path, "read", error);
  const std::vector<std::string_view> lines = linesOf(text);
  event.number = lastNumber(lines) + 1;
  shorten(event);
  const std::string line = historyLine(event);
  if (text.size() + line.size() > kMaxHistorySize) {
    return replaceFile(path, newerHalf(lines) + line) || fail(path, "written", error);
  }
  const File file(path, O_WRONLY | O_CREAT | O_APPEND);
  const auto size = static_cast<off_t>(text.size());
  if (file.get() < 0 || (isTorn && ftruncate(file.get(), size) != 0)) {
    return fail(path, "written", error);
  }
  if (file.write(line)) return true;
  const int reason = errno;
  // Half a line that stays all the same is passed over.
  (void)!ftruncate(file.get(), size);
  errno = reason;
  return fail(path, "written", error);
}

bool replaceFile(const std::string& path, const std::string& text) {
  const std::string newer = path + ".new";
  unlink(newer.c_str());
  {
    const File file(newer, O_WRONLY | O_CREAT | O_EXCL);
    if (file.get() < 0) return false;
    if (file.write(text) && std::rename(newer.c_str(), path.c_str()) == 0) return true;
  }
  const int reason = errno;
  unlink(newer.c_str());
  errno = reason;
  return false;
}

}  // namespace wz
