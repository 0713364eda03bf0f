#include "wz/reports/output.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <utility>

#include "support/file_system.h"
#include "support/mutex.h"
#include "wz/reports/lost_output.h"
#include "wz/reports/screen.h"

namespace wz {
namespace {

wzapp::Mutex writeMutex;  // one line after the other, also where a write takes only a part

// errno of the first write to standard output that failed.
int lostOutput WZAPP_GUARDED_BY(writeMutex) = 0;
void (*lossListener)() = nullptr;
bool isCollecting = false;
std::vector<std::string> messages WZAPP_GUARDED_BY(writeMutex);
// Takes the live line away; null: there is none.
const char* liveLineErasing WZAPP_GUARDED_BY(writeMutex) = nullptr;
Volume theVolume = Volume::kUsual;

// A live line that cannot be written is none.
void eraseLiveLine() WZAPP_REQUIRES(writeMutex) {
  if (liveLineErasing == nullptr) return;
  (void)wzapp::writeWhole(STDERR_FILENO, wzapp::viewOf(std::string_view(liveLineErasing)));
  liveLineErasing = nullptr;
}

void writeText(int file, std::string_view text) {
  const wzapp::MutexLock lock(writeMutex);
  if (isatty(file) == 1) eraseLiveLine();  // what goes elsewhere does not meet it
  // Behind a gap nothing more is of use, and writing it to a closed pipe would end the process.
  if (file == STDOUT_FILENO && lostOutput != 0) return;
  if (wzapp::writeWhole(file, wzapp::viewOf(text))) return;
  // Of standard error there is no other place to say so.
  if (file != STDOUT_FILENO) return;
  lostOutput = errno;
  if (lossListener != nullptr) lossListener();
}

// The code point at the front of `text` and its length; length 0: no UTF-8 (RFC 3629).
struct CodePoint {
  std::uint32_t value;
  std::size_t length;
};

CodePoint firstCodePoint(std::string_view text) {
  struct Form {
    std::uint8_t mask, lead;
    std::uint32_t least;
  };
  constexpr Form kForms[] = {
      {0x80, 0x00, 0}, {0xE0, 0xC0, 0x80}, {0xF0, 0xE0, 0x800}, {0xF8, 0xF0, 0x10000}};
  constexpr CodePoint kNone{0, 0};
  const auto lead = static_cast<std::uint8_t>(text.front());
  std::size_t length = 1;
  for (const Form& form : kForms) {
    if ((lead & form.mask) != form.lead) {
      ++length;
      continue;
    }
    if (text.size() < length) return kNone;
    std::uint32_t value = lead & static_cast<std::uint8_t>(~form.mask);
    for (std::size_t i = 1; i < length; ++i) {
      const auto octet = static_cast<std::uint8_t>(text[i]);
      if ((octet & 0xC0) != 0x80) return kNone;
      value = value << 6 | (octet & 0x3F);
    }
    const bool isSurrogate = value >= 0xD800 && value <= 0xDFFF;
    return value < form.least || value > 0x10FFFF || isSurrogate ? kNone : CodePoint{value, length};
  }
  return kNone;
}

bool isDangerous(std::uint32_t c) {
  return c < 0x20 || (c >= 0x7F && c <= 0x9F) || c == 0x061C || c == 0x200E || c == 0x200F ||
         (c >= 0x2028 && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
}

template <typename Number>
std::string formatted(const char* format, Number number) {
  char buffer[16];
  std::snprintf(buffer, sizeof(buffer), format, number);
  return buffer;
}

std::string escapeOf(std::uint32_t c) {
  switch (c) {
    case '\n':
      return "\\n";
    case '\r':
      return "\\r";
    case '\t':
      return "\\t";
    default:
      return c < 0x80 ? formatted("\\x%02x", c) : formatted("\\u{%04x}", c);
  }
}

}  // namespace

std::string escaped(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const CodePoint c = firstCodePoint(text);
    if (c.length == 0) {
      result += formatted("\\x%02x", static_cast<unsigned>(static_cast<std::uint8_t>(text[0])));
    } else if (isDangerous(c.value)) {
      result += escapeOf(c.value);
    } else {
      result += text.substr(0, c.length);
    }
    text.remove_prefix(c.length == 0 ? 1 : c.length);
  }
  return result;
}

std::string joined(const std::vector<std::string>& texts, std::string_view between) {
  std::string all;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    if (i > 0) all += between;
    all += texts[i];
  }
  return all;
}

void setVolume(Volume volume) { theVolume = volume; }
Volume volume() { return theVolume; }

void printLine(std::string_view line) {
  writeText(STDOUT_FILENO, painted(STDOUT_FILENO, escaped(line)) + "\n");
}

void printSuccess(std::string_view line) {
  if (theVolume != Volume::kQuiet) printLine(line);
}

void printBlock(std::string_view lines) {
  std::string block;
  for (;;) {
    const std::size_t end = lines.find('\n');
    block += painted(STDOUT_FILENO, escaped(lines.substr(0, end))) + "\n";
    if (end == std::string_view::npos) return writeText(STDOUT_FILENO, block);
    lines.remove_prefix(end + 1);
  }
}

void printMessage(std::string_view message) {
  noteMessage(message);
  writeText(STDERR_FILENO, painted(STDERR_FILENO, "wz: " + escaped(message)) + "\n");
}

void printNote(std::string_view message) {
  if (theVolume != Volume::kQuiet) return printMessage(message);
  noteMessage(message);
}

void printText(std::string_view text) { writeText(STDOUT_FILENO, text); }

void putLiveLine(const std::string& text, const char* erasing) {
  const wzapp::MutexLock lock(writeMutex);
  if (wzapp::writeWhole(STDERR_FILENO, wzapp::viewOf(text))) liveLineErasing = erasing;
}

void takeLiveLine() {
  const wzapp::MutexLock lock(writeMutex);
  eraseLiveLine();
}

void collectMessages() { isCollecting = true; }

void noteMessage(std::string_view message) {
  if (!isCollecting) return;
  const wzapp::MutexLock lock(writeMutex);
  messages.emplace_back(message);
}

std::vector<std::string> collectedMessages() {
  const wzapp::MutexLock lock(writeMutex);
  return messages;
}

void whenOutputIsLost(void (*function)()) { lossListener = function; }

bool hasLostOutput() {
  const wzapp::MutexLock lock(writeMutex);
  return lostOutput != 0;
}

bool reportLostOutput() {
  std::fflush(stdout);
  int reason = 0;
  {
    const wzapp::MutexLock lock(writeMutex);
    reason = std::exchange(lostOutput, 0);
  }
  if (reason == 0) return false;
  printMessage(std::string("cannot write to standard output: ") + std::strerror(reason));
  return true;
}

void occupyStandardFiles() {
  for (const int file : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    // The lowest number that is free is taken, which is this one.
    if (fcntl(file, F_GETFD) < 0) static_cast<void>(open("/dev/null", O_PATH));
  }
}

}  // namespace wz
