// WZ-10nn: the machine on which terminals are played.

#include "wz/words/codes.h"

namespace wz {
namespace {

constexpr Code kCodes[] = {
    {.id = "WZ-1001",
     .severity = Severity::kError,
     .title = "There is no browser",
     .rule = "Applications run in Chromium, as Debian's package installs it.",
     .causes = "The package is not installed.",
     .repair = "Install it.",
     .command = "sudo apt-get install chromium"},
    {.id = "WZ-1002",
     .severity = Severity::kError,
     .title = "The browser does not start",
     .rule = "The browser tells its version when it is asked.",
     .causes = "A library is missing, or the program is for another kind of machine.",
     .repair = "Install it anew.",
     .command = "sudo apt-get install --reinstall chromium"},
    {.id = "WZ-1003",
     .severity = Severity::kError,
     .title = "There is no program for the message bus",
     .rule = "Each terminal has a message bus, which is a dbus-daemon of its own.",
     .causes = "The package is not installed, or PATH does not have its folder.",
     .repair = "Install it.",
     .command = "sudo apt-get install dbus-daemon"},
    {.id = "WZ-1004",
     .severity = Severity::kError,
     .title = "The machine allows users no namespaces",
     .rule =
         "A terminal's paths are shown to a program by a user and a mount namespace of its own.",
     .causes = "A limit of 0; the kernel is told to keep them for root; a profile of AppArmor; a "
               "container that forbids them.",
     .repair = "Allow them, as is said for what was found; in a container, start it with what it "
               "needs for them."},
    {.id = "WZ-1005",
     .severity = Severity::kWarning,
     .title = "There is little shared memory",
     .rule = "The browser is fast with 256 MiB in /dev/shm; with less it uses files.",
     .causes = "A container has 64 MiB unless told otherwise.",
     .repair = "Make it larger.",
     .command = "sudo mount -o remount,size=1G /dev/shm"},
    {.id = "WZ-1006",
     .severity = Severity::kWarning,
     .title = "There is no display server",
     .rule =
         "A window needs one, by DISPLAY or WAYLAND_DISPLAY. Without it applications run all the "
         "same, with pictures of them instead of windows.",
     .causes = "A session over the network, a container, or a service.",
     .repair = "Log in with a display, or take pictures.",
     .command = "wz run APPDIR --screenshot FILE"},
    {.id = "WZ-1007",
     .severity = Severity::kWarning,
     .title = "There are no fonts",
     .rule = "Pages are drawn with the machine's fonts; without any there is no text.",
     .causes = "A machine without a desktop.",
     .repair = "Install some.",
     .command = "sudo apt-get install fonts-dejavu-core"},
    {.id = "WZ-1008",
     .severity = Severity::kWarning,
     .title = "There are no keys to sign packages with",
     .rule = "wz pack takes keys from --keys, from WZ_KEYS, those that were built with it, or the "
             "user's "
             "own.",
     .causes =
         "wz was built with a product's authorities, or there is no HOME for keys of one's own.",
     .repair = "Name a folder of keys, or make one.",
     .command = "wz keys init DIR"},
    {.id = "WZ-1009",
     .severity = Severity::kWarning,
     .title = "Something that was killed has left files behind",
     .rule = "Temporary folders go with the program that made them, unless it was killed.",
     .causes = "kill -9, a machine that was switched off, or too little memory.",
     .repair = "Have them removed.",
     .command = "wz doctor --repair"},
    {.id = "WZ-1010",
     .severity = Severity::kWarning,
     .title = "There is no Node.js",
     .rule = "Tests of applications are programs for Node.js, of version 18 at least. Nothing else "
             "needs it.",
     .causes = "The package is not installed, or is an older one.",
     .repair = "Install it.",
     .command = "sudo apt-get install nodejs npm"},
    {.id = "WZ-1011",
     .severity = Severity::kWarning,
     .title = "There is no Playwright",
     .rule = "Tests of applications use @playwright/test, found from the current folder. Nothing "
             "else needs it.",
     .causes = "It is not installed in this folder or above it.",
     .repair = "Install it where the tests are; the browser is the machine's.",
     .command = "PLAYWRIGHT_SKIP_BROWSER_DOWNLOAD=1 npm install --save-dev @playwright/test"},
    {.id = "WZ-1012",
     .severity = Severity::kError,
     .title = "A trial came to no end",
     .rule = "Each package is tried on each terminal in a process that a time is set to, so that "
             "one trial costs no other.",
     .causes =
         "The time was too short for the package or the machine, there was too little memory, "
         "or the library has a defect that the package finds.",
     .repair = "Try that package and that terminal alone, with more time; report what still ends.",
     .command = "wz matrix FILE --terminals DIR --timeout 600"},
};

}  // namespace

std::span<const Code> machineCodes() { return kCodes; }

}  // namespace wz
