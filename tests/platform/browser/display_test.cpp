// What a page is shown on: the size of the terminal's display, with and without windows.

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string_view>

#include "tests/builders/test_terminal.h"
#include "tests/platform/browser/browser_fixture.h"
#include "tests/platform/browser/host_program.h"
#include "workstation/terminal/terminal_namespace.h"

namespace wzapp_test {
namespace {

constexpr char kSaySize[] = R"(
  requestAnimationFrame(() => requestAnimationFrame(() => setTimeout(() =>
    console.log(innerWidth + 'x' + innerHeight + ' ' + screen.width + 'x' + screen.height), 100)));)";

// A terminal with a display that is narrower than any browser's window.
class SmallTerminal {
 public:
  SmallTerminal() {
    std::filesystem::create_directory(directory_ / "run");
    directory_.write("terminal.json", R"({"serial": "1", "model": "T30",
      "display": {"width": 240, "height": 320, "colour": true},
      "memory": 1, "keys": 0, "touch": true})");
  }
  std::string variable() const { return "WZ_TERMINAL=" + directory_.path(); }

 private:
  TemporaryDirectory directory_;
};

// "240x320" from the head of a PNG file (ISO/IEC 15948, 11.2.2).
std::string pictureSize(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string octets(std::istreambuf_iterator<char>(file), {});
  if (octets.size() < 24 || octets.compare(0, 8, "\x89PNG\r\n\x1A\n") != 0) return "no picture";
  const auto number = [&](std::size_t at) {
    unsigned value = 0;
    for (std::size_t i = at; i < at + 4; ++i)
      value = value << 8 | static_cast<unsigned char>(octets[i]);
    return std::to_string(value);
  };
  return number(16) + 'x' + number(20);
}

class DisplayTest : public BrowserTest {};

TEST_F(DisplayTest, WorksInsideOfATerminal) {
  const TestApplication application("console.log(innerWidth + 'x' + innerHeight)");
  const TemporaryTerminal terminal;
  // Installed: inside, nothing else is served.
  const std::string root = "/etc/config/wzapp/wz";
  std::filesystem::create_directories(terminal.directory() + "/flash" + root);
  std::filesystem::copy(application.directory(), terminal.directory() + "/flash" + root + "/shop");
  HostOptions options;
  options.prepare = [&] {
    std::string error;
    return workstation::enterTerminal(terminal.directory(), error);
  };
  HostProgram program("/mnt/flash" + root + "/shop", "/tmp", options);

  EXPECT_EQ(program.readLine(), "shown 480x800");
  program.order("return");
  program.waitForEnd();
  for (const auto& entry : std::filesystem::directory_iterator(terminal.directory() + "/run"))
    EXPECT_EQ(entry.path().filename().string().rfind("browser", 0), std::string::npos);
}

TEST_F(DisplayTest, WithoutTerminalItIsSmall) {
  EXPECT_EQ(valueOf("finish([innerWidth, innerHeight, screen.width, screen.height])"),
            "[320,480,320,480]");
}

TEST_F(DisplayTest, HeadlessPageHasTheTerminalsSize) {
  const TestApplication application(kSaySize);
  const SmallTerminal terminal;
  HostOptions options;
  options.environment = {terminal.variable()};
  HostProgram program(application.directory(), "/tmp", options);

  EXPECT_EQ(program.readLine(), "shown 240x320 240x320");

  program.order("screenshot");
  EXPECT_EQ(program.readLine(), "taken");
  EXPECT_EQ(pictureSize(application.directory() + "/shot.png"), "240x320");
}

TEST_F(DisplayTest, BrokenProfileRefusesTheInvocation) {
  const TestApplication application("");
  const TemporaryDirectory terminal;
  terminal.write("terminal.json", "{");
  HostOptions options;
  options.environment = {"WZ_TERMINAL=" + terminal.path()};
  HostProgram program(application.directory(), "/tmp", options);

  EXPECT_THAT(program.readLine(), testing::HasSubstr("terminal.json:1:"));
}

// A display server of the test's own, which keeps what it shows in a file.
class DisplayServer {
 public:
  DisplayServer() {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) return;
    pid_ = ::fork();
    if (pid_ == 0) {
      ::dup2(ends[1], 3);
      const int null = ::open("/dev/null", O_RDWR);
      ::dup2(null, STDERR_FILENO);
      ::execlp("Xvfb", "Xvfb", "-displayfd", "3", "-screen", "0", "1280x1024x24", "-nolisten",
               "tcp", "-fbdir", folder_.path().c_str(), nullptr);
      ::_exit(127);
    }
    ::close(ends[1]);
    for (char c = 0; ::read(ends[0], &c, 1) == 1 && c != '\n';) number_ += c;
    ::close(ends[0]);
  }
  ~DisplayServer() {
    ::kill(pid_, SIGTERM);
    ::waitpid(pid_, nullptr, 0);
  }
  DisplayServer(const DisplayServer&) = delete;
  DisplayServer& operator=(const DisplayServer&) = delete;

  bool isRunning() const { return !number_.empty(); }
  std::string variable() const { return "DISPLAY=:" + number_; }

  // The sizes of the browser's windows as the display server knows them, "240x320", one a line.
  std::string windows() const;

  // The size of the rectangle that is filled with a colour (0xRRGGBB), "240x320", or what is wrong
  // with it.
  std::string areaOf(unsigned colour) const;

 private:
  const TemporaryDirectory folder_;
  pid_t pid_ = -1;
  std::string number_;
};

// A line of xwininfo is: 0x200002 "the title": ("instance" "Chromium-browser")  240x320+10+10
// +10+10
std::string DisplayServer::windows() const {
  const std::string command = "xwininfo -display :" + number_ + " -root -tree 2>&1";
  std::FILE* const pipe = ::popen(command.c_str(), "re");
  std::string sizes;
  char line[1024];
  while (pipe != nullptr && std::fgets(line, sizeof line, pipe) != nullptr) {
    constexpr std::string_view kClass = "\"Chromium-browser\")";
    const std::string_view text(line);
    const std::size_t found = text.find(kClass);
    if (found == std::string_view::npos) continue;
    const std::size_t begin = text.find_first_not_of(' ', found + kClass.size());
    sizes += std::string(text.substr(begin, text.find('+', begin) - begin)) + '\n';
  }
  if (pipe != nullptr) ::pclose(pipe);
  return sizes;
}

// The file is an X window dump: a header of 32-bit numbers, the most significant octet first (its
// own size at 0, columns and rows at 4 and 5, octets a row at 12, colours at 19), twelve octets for
// each colour, then the rows. A pixel is stored as a number, the least significant octet first.
std::string DisplayServer::areaOf(unsigned colour) const {
  std::ifstream file(folder_.path() + "/Xvfb_screen0", std::ios::binary);
  const std::string octets(std::istreambuf_iterator<char>(file), {});
  const auto octet = [&](std::size_t at) -> unsigned {
    return at < octets.size() ? static_cast<unsigned char>(octets[at]) : 0;
  };
  const auto number = [&](std::size_t index) {
    const std::size_t at = 4 * index;
    return octet(at) << 24 | octet(at + 1) << 16 | octet(at + 2) << 8 | octet(at + 3);
  };
  const unsigned columns = number(4), rows = number(5), pixels = number(0) + 12 * number(19);
  unsigned left = columns, right = 0, top = rows, bottom = 0, count = 0;
  for (unsigned y = 0; y < rows; ++y) {
    for (unsigned x = 0; x < columns; ++x) {
      const std::size_t at = pixels + std::size_t{y} * number(12) + 4 * x;
      if ((octet(at) | octet(at + 1) << 8 | octet(at + 2) << 16) != colour) continue;
      left = std::min(left, x);
      right = std::max(right, x + 1);
      top = std::min(top, y);
      bottom = std::max(bottom, y + 1);
      ++count;
    }
  }
  if (count == 0) return "nothing of that colour";
  const unsigned width = right - left, height = bottom - top;
  return std::to_string(width) + 'x' + std::to_string(height) +
         (count == width * height ? "" : " with holes");
}

// The page sees the display's size in any case; what the user sees is the window's.
TEST_F(DisplayTest, WindowShowsTheWholePage) {
  const DisplayServer server;
  if (!server.isRunning()) GTEST_SKIP() << "there is no Xvfb on this machine";
  const TestApplication application(
      "document.documentElement.style.background = '#0000ff';"
      "document.body.textContent = '';" +
      std::string(kSaySize));
  const SmallTerminal terminal;
  HostOptions options;
  options.environment = {terminal.variable(), server.variable()};
  HostProgram program(application.directory(), "/tmp", options);
  ASSERT_EQ(program.readLine(), "shown 240x320 240x320");

  EXPECT_TRUE(pollUntil([&] { return server.areaOf(0x0000FF) == "240x320"; }))
      << server.areaOf(0x0000FF);
}

// No address bar, no tabs, no frame that the browser draws: the window is the display.
TEST_F(DisplayTest, WindowIsThePageAndNothingElse) {
  const DisplayServer server;
  if (!server.isRunning()) GTEST_SKIP() << "there is no Xvfb on this machine";
  if (std::system("command -v xwininfo >/dev/null") != 0)
    GTEST_SKIP() << "there is no xwininfo on this machine (Debian's x11-utils)";
  const TestApplication application(kSaySize);
  const SmallTerminal terminal;
  HostOptions options;
  options.environment = {terminal.variable(), server.variable()};
  HostProgram program(application.directory(), "/tmp", options);
  ASSERT_EQ(program.readLine(), "shown 240x320 240x320");

  EXPECT_EQ(server.windows(), "240x320\n");
}

TEST_F(DisplayTest, WindowHasTheTerminalsSize) {
  const DisplayServer server;
  if (!server.isRunning()) GTEST_SKIP() << "there is no Xvfb on this machine";
  const TestApplication application(kSaySize);
  const SmallTerminal terminal;
  HostOptions options;
  options.environment = {terminal.variable(), server.variable()};
  HostProgram program(application.directory(), "/tmp", options);

  EXPECT_EQ(program.readLine(), "shown 240x320 240x320");

  program.order("screenshot");
  EXPECT_EQ(program.readLine(), "taken");
  EXPECT_EQ(pictureSize(application.directory() + "/shot.png"), "240x320");
}

TEST_F(DisplayTest, WindowEndsWithItsPageAndTheNextOneOpens) {
  const DisplayServer server;
  if (!server.isRunning()) GTEST_SKIP() << "there is no Xvfb on this machine";
  const TestApplication application("wz.exit(3)");
  const TemporaryDirectory temporary;
  HostOptions options;
  options.environment = {server.variable()};
  HostProgram program(application.directory(), temporary.path(), options);

  program.order("wait");
  EXPECT_EQ(program.readLine(), "ended 3 ");
  program.order("again");
  program.order("wait");
  EXPECT_EQ(program.readLine(), "ended 3 ");
}

}  // namespace
}  // namespace wzapp_test
