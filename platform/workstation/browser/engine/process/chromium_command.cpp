#include "workstation/browser/engine/process/chromium_command.h"

#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>

#include <sys/socket.h>
#include <sys/statvfs.h>
#include <sys/un.h>
#include <unistd.h>

namespace workstation {
namespace {

// The packages' binaries themselves: what their shell wrappers add is for a desktop's browser.
constexpr char kProgramFolder[] = "/usr/lib/chromium/";
constexpr char kWindowPackage[] = "chromium";

constexpr unsigned long long kEnoughSharedMemory = 256ULL << 20;

constexpr const char* kSwitches[] = {
    "--remote-debugging-pipe",
    "--no-first-run",
    "--no-default-browser-check",
    "--disable-background-networking",
    "--disable-component-update",
    "--disable-sync",
    "--disable-default-apps",
    "--disable-extensions",
    "--disable-breakpad",
    "--disable-pings",
    "--media-router=0",
    "--password-store=basic",
    "--log-level=3",
    // Parts of a desktop's browser that cost every page 300 ms and 36 MB.
    ("--disable-features=WebUIOmniboxPopup,WebUIOmniboxAimPopup,WebUIOmniboxFullPopup,"
     "SpareRendererForSitePerProcess"),
    // What is not answered from the application's folder goes nowhere, also where the browser has
    // no network namespace of its own.
    "--host-resolver-rules=MAP * ~NOTFOUND",
    "--force-webrtc-ip-handling-policy=disable_non_proxied_udp",
    "--no-proxy-server",
};

std::string environmentValue(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

// Whether an X display is reached over the network: "host:0", but not ":0" or "unix:0".
bool isRemoteDisplay(std::string_view display) {
  const std::string_view host = display.substr(0, display.find(':'));
  return !host.empty() && host != "unix" && host[0] != '/';
}

bool sharedMemoryIsSmall() {
  struct statvfs status = {};
  return ::statvfs("/dev/shm", &status) != 0 ||
         static_cast<unsigned long long>(status.f_bavail) * status.f_frsize < kEnoughSharedMemory;
}

// Names whose values are replaced, or must not reach the browser: preloaded libraries are meant for
// the host, the session bus and proxies lead out of the terminal.
constexpr std::string_view kOwnVariables[] = {
    "HOME",       "XDG_CONFIG_HOME", "XDG_CACHE_HOME",           "XDG_DATA_HOME", "TMPDIR",
    "LD_PRELOAD", "LD_LIBRARY_PATH", "DBUS_SESSION_BUS_ADDRESS", "XAUTHORITY",    "CHROME_DESKTOP"};

bool isOwnVariable(std::string_view entry) {
  const std::string_view name = entry.substr(0, entry.find('='));
  for (const std::string_view own : kOwnVariables) {
    if (name == own) return true;
  }
  return false;
}

std::vector<std::string> browserEnvironment(const ProfileDirectory& profile) {
  std::vector<std::string> environment;
  for (char** entry = ::environ; entry != nullptr && *entry != nullptr; ++entry) {
    if (!isOwnVariable(*entry)) environment.emplace_back(*entry);
  }
  // Looked for in the home directory unless named, and the home directory is about to change.
  std::string authority = environmentValue("XAUTHORITY");
  if (authority.empty()) authority = environmentValue("HOME") + "/.Xauthority";
  const std::string& home = profile.path();
  for (const std::string& entry :
       {"HOME=" + home, "XDG_CONFIG_HOME=" + home + "/config", "XDG_CACHE_HOME=" + home + "/cache",
        "XDG_DATA_HOME=" + home + "/data", "TMPDIR=" + profile.temporary(),
        "XAUTHORITY=" + authority}) {
    environment.push_back(entry);
  }
  return environment;
}

std::string searchPath(const std::string& name) {
  const std::string path = environmentValue("PATH");
  for (std::size_t begin = 0; begin <= path.size();) {
    const std::size_t end = std::min(path.find(':', begin), path.size());
    std::string candidate = path.substr(begin, end - begin) + '/' + name;
    if (candidate[0] == '/' && ::access(candidate.c_str(), X_OK) == 0) return candidate;
    begin = end + 1;
  }
  return name;
}

// Whether a server takes connections on a socket of that name; an abstract one begins with NUL.
bool takesConnections(const std::string& socketName) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  if (socketName.size() >= sizeof address.sun_path) return false;
  socketName.copy(address.sun_path, socketName.size());
  const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + socketName.size() +
                                           (socketName[0] == '\0' ? 0 : 1));
  const UniqueFd socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  return socket && ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), size) == 0;
}

// ":1", ":1.0" or "unix:1"; a name in another form is the browser's to make sense of.
bool reachX(const std::string& display) {
  const std::size_t number = display.find(':') + 1;
  const std::string socket =
      "/tmp/.X11-unix/X" + display.substr(number, display.find('.') - number);
  if (number == 0 || display[0] == '/') return true;
  return takesConnections('\0' + socket) || takesConnections(socket);
}

bool reachWayland(const std::string& display) {
  if (display[0] == '/') return takesConnections(display);
  const std::string folder = environmentValue("XDG_RUNTIME_DIR");
  return !folder.empty() && takesConnections(folder + '/' + display);
}

}  // namespace

bool reachDisplayServer(std::string& error) {
  constexpr char kCure[] = "; start it, or go without a window";
  const std::string x = environmentValue("DISPLAY");
  if (!x.empty()) {
    if (isRemoteDisplay(x) || reachX(x)) return true;
    error = "there is no X server at " + x + ", which DISPLAY names" + kCure;
    return false;
  }
  const std::string wayland = environmentValue("WAYLAND_DISPLAY");
  if (reachWayland(wayland)) return true;
  error = "there is no Wayland display " + wayland + ", which WAYLAND_DISPLAY names, in " +
          (environmentValue("XDG_RUNTIME_DIR").empty() ? "XDG_RUNTIME_DIR, which is not set"
                                                       : environmentValue("XDG_RUNTIME_DIR")) +
          kCure;
  return false;
}

bool hasDisplayServer() {
  return !environmentValue("DISPLAY").empty() || !environmentValue("WAYLAND_DISPLAY").empty();
}

bool findBrowser(const std::string& chosen, bool withWindows, std::string& program,
                 std::string& error) {
  if (chosen.empty() && !withWindows) {
    program = std::string(kProgramFolder) + kHeadlessPackage;
    if (::access(program.c_str(), X_OK) == 0) return true;
  }
  program = chosen.empty() ? std::string(kProgramFolder) + kWindowPackage : chosen;
  if (program.find('/') == std::string::npos) program = searchPath(program);
  if (::access(program.c_str(), X_OK) == 0) return true;
  error = "there is no browser " + program;
  if (chosen.empty()) error += std::string("; install the package ") + kWindowPackage;
  return false;
}

// The window gets the desktop's frame and not one that the browser draws inside of it, so that all
// of it is the page.
bool writeWindowPreferences(const ProfileDirectory& profile, std::string& error) {
  const std::filesystem::path folder = profile.path() + "/profile/Default";
  std::error_code failure;
  std::filesystem::create_directories(folder, failure);
  std::ofstream file(folder / "Preferences");
  file << R"({"browser":{"custom_chrome_frame":false}})";
  file.close();
  if (file) return true;
  error = "cannot write " + (folder / "Preferences").string();
  return false;
}

ChromiumCommand chromiumCommand(const std::string& program, const ProfileDirectory& profile,
                                const std::string& window, const std::string& locale) {
  const bool headless = window.empty();
  ChromiumCommand command;
  command.program = program;
  command.arguments.assign(std::begin(kSwitches), std::end(kSwitches));
  command.arguments.push_back("--user-data-dir=" + profile.path() + "/profile");
  if (headless) {
    command.arguments.insert(command.arguments.end(), {"--headless", "--no-startup-window"});
  } else {
    // A window without tabs and address bar, which any page fills later; and without the warning
    // that switches above are not for a desktop's browser, which would take its place from the
    // page.
    command.arguments.insert(command.arguments.end(), {"--app=data:text/html,", "--test-type"});
    command.arguments.push_back("--window-size=" + window);
  }
  if (!locale.empty()) {
    command.arguments.push_back("--lang=" + locale);
    command.arguments.push_back("--accept-lang=" + locale);
  }
  if (!headless && environmentValue("DISPLAY").empty())
    command.arguments.emplace_back("--ozone-platform=wayland");
  if (sharedMemoryIsSmall()) command.arguments.emplace_back("--disable-dev-shm-usage");
  command.environment = browserEnvironment(profile);
  command.errorFile = profile.errorFile();
  command.ownNetwork = headless || !isRemoteDisplay(environmentValue("DISPLAY"));
  return command;
}

}  // namespace workstation
