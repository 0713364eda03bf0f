#include "wz/reports/screen.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <utility>

#include "wz/reports/output.h"

namespace wz {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kBetween{100};
constexpr std::size_t kUsualWidth = 80;
constexpr char kEraseLine[] = "\r\033[2K";
constexpr char kNoColour[] = "\033[0m";

struct Colour {
  std::string_view word;  // at the beginning of a line, behind blanks
  const char* begin;      // of ECMA-48
};

constexpr char kRed[] = "\033[1;31m", kGreen[] = "\033[1;32m", kYellow[] = "\033[1;33m";

constexpr Colour kColours[] = {
    {"refused:", kRed},    {"error:", kRed},      {"Error:", kRed},
    {"FAILED", kRed},      {"rejected ", kRed},   {"would reject ", kRed},
    {"missing ", kRed},    {"accepted:", kGreen}, {"would accept ", kGreen},
    {"warning:", kYellow}, {"Warning:", kYellow}, {"wz: warning:", kYellow},
};

bool isColourWanted() {
  const char* const refusal = std::getenv("NO_COLOR");
  return refusal == nullptr || *refusal == '\0';
}

std::size_t screenWidth() {
  winsize size{};
  const bool isKnown = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return isKnown ? size.ws_col : kUsualWidth;
}

// What fits into the line; no character of several octets is cut apart.
std::string fitting(const std::string& text) {
  std::size_t end = std::min(text.size(), screenWidth() - 1);
  while (end > 0 && end < text.size() && (text[end] & 0xC0) == 0x80) --end;
  return text.substr(0, end);
}

}  // namespace

bool isScreen(int file) {
  const char* const type = std::getenv("TERM");
  return isatty(file) == 1 && type != nullptr && std::string_view(type) != "dumb";
}

std::string painted(int file, const std::string& line) {
  if (!isColourWanted() || !isScreen(file)) return line;
  const std::size_t start = std::min(line.find_first_not_of(' '), line.size());
  for (const Colour& colour : kColours) {
    if (!std::string_view(line).substr(start).starts_with(colour.word)) continue;
    return line.substr(0, start) + colour.begin + std::string(colour.word) + kNoColour +
           line.substr(start + colour.word.size());
  }
  return line;
}

void showLiveLine(std::string_view text) {
  if (volume() == Volume::kQuiet || !isScreen(STDERR_FILENO)) return;
  putLiveLine(kEraseLine + fitting(escaped(text)), kEraseLine);
}

void clearLiveLine() { takeLiveLine(); }

Progress::Progress(std::string what, std::size_t total, milliseconds patience)
    : what_(std::move(what)), total_(total), patience_(patience) {}

Progress::~Progress() {
  if (isShown_) clearLiveLine();
}

void Progress::step() {
  ++done_;
  const Clock::time_point now = Clock::now();
  if (now - begin_ < patience_ || now - shown_ < kBetween) return;
  shown_ = now;
  isShown_ = true;
  showLiveLine(
      progressText(what_, done_, total_, std::chrono::duration_cast<milliseconds>(now - begin_)));
}

std::string progressText(std::string_view what, std::size_t done, std::size_t total,
                         milliseconds elapsed) {
  const auto seconds = [](milliseconds time) {
    return std::to_string((time + milliseconds(500)) / milliseconds(1000)) + " s";
  };
  if (total == 0) return std::string(what) + ": " + seconds(elapsed);
  std::string text = std::string(what) + ": " + std::to_string(done);
  text += " of " + std::to_string(total);
  if (done == 0 || done >= total) return text + ", " + seconds(elapsed);
  const auto rest = static_cast<long>(total - done), so_far = static_cast<long>(done);
  return text + ", about " + seconds(elapsed * rest / so_far) + " left";
}

}  // namespace wz
