// WZ-06nn: the folders of a terminal.

#include "wz/words/codes.h"

namespace wz {
namespace {

constexpr char kFull[] =
    "No space on the flash, a file of that name in the way, or other permissions.";
constexpr char kOwner[] =
    "Have the terminal's maintenance give the folder to the installer's user.";

constexpr Code kCodes[] = {
    {.id = "WZ-0601",
     .severity = Severity::kError,
     .title = "The folder for packages cannot be made",
     .logLine = "Error: Failed to create %s\n",
     .rule = "Packages are dropped into /mnt/flash/system/wz, a folder.",
     .causes = kFull,
     .repair = "Take away what is in the way, or free space."},
    {.id = "WZ-0602",
     .severity = Severity::kError,
     .title = "There is no group for the folder of packages",
     .logLine = "Error: getgrnam failed\n",
     .rule = "The folder for packages belongs to the group system.",
     .causes = "The terminal's list of groups lacks it, or its entry is too long.",
     .repair = "Add the group to the terminal's software."},
    {.id = "WZ-0603",
     .severity = Severity::kError,
     .title = "The folder for packages cannot be given to its group",
     .logLine = "Error: chown(%s) failed\n",
     .rule = "The folder for packages belongs to the group system.",
     .causes = "The installer's user owns the folder not, or is not of that group.",
     .repair = kOwner},
    {.id = "WZ-0604",
     .severity = Severity::kError,
     .title = "The folder for packages cannot be opened to everybody",
     .logLine = "Error: chmod(%s,0777) failed\n",
     .rule = "Every program on the terminal may drop packages.",
     .causes = "The folder is another user's.",
     .repair = kOwner},
    {.id = "WZ-0605",
     .severity = Severity::kWarning,
     .title = "A folder of the older layout could not be moved",
     .logLine = "Failed to move %s to %s\n",
     .rule =
         "On its first start the installer moves the applications of the older layout to their new "
         "place. What cannot be moved stays where it is and is no longer looked at.",
     .causes = "Another file system; a link where a folder is expected; other permissions.",
     .repair = "Move it by hand, or install its packages anew."},
    {.id = "WZ-0606",
     .severity = Severity::kError,
     .title = "The configuration root cannot be made",
     .logLine = "Failed to create %s\n",
     .rule = "Everything that is installed lies below /mnt/flash/etc/config/wzapp.",
     .causes = kFull,
     .repair = "Take away what is in the way, or free space."},
    {.id = "WZ-0607",
     .severity = Severity::kError,
     .title = "The configuration root was made, but is another user's",
     .logLine = "Failed to create %s for correct user\n",
     .rule = "The configuration root belongs to the user as whom the installer runs.",
     .causes = "A file system that does not keep owners, or maps users.",
     .repair = "Put the configuration on a file system that keeps owners."},
    {.id = "WZ-0608",
     .severity = Severity::kError,
     .title = "The configuration root is no folder",
     .logLine = "%s is not a directory\n",
     .rule = "/mnt/flash/etc/config/wzapp is a folder; otherwise nothing is installed or run.",
     .causes = "A file of that name.",
     .repair = "Take the file away."},
    {.id = "WZ-0609",
     .severity = Severity::kError,
     .title = "The configuration root is another user's",
     .logLine = "%s is owned by wrong user\n",
     .rule = "The configuration root belongs to the user as whom the installer runs.",
     .causes = "It was made, or copied, as another user, such as root.",
     .repair = kOwner},
    {.id = "WZ-0610",
     .severity = Severity::kWarning,
     .title = "A folder that is to be removed cannot be read",
     .logLine = "Warning: Failed to read directory '%s'.\n",
     .rule = "A folder is removed with all that is in it.",
     .causes = "Another user's folder, or too many open files.",
     .repair = "Give the folder to the installer's user; the next run removes it."},
    {.id = "WZ-0611",
     .severity = Severity::kWarning,
     .title = "Something could not be removed",
     .logLine = "Warning: Failed to remove '%s' (errno=%d)\n",
     .rule = "What may not stay is removed. What cannot be stays for the next run.",
     .causes = "errno 13 and 1: no permission; 30: the file system is read only; 39: new files "
               "arrived meanwhile; 16: in use.",
     .repair = "Mend what the number says; the next run removes it."},
    {.id = "WZ-0612",
     .severity = Severity::kError,
     .title = "What was installed could not be brought to stable storage",
     .logLine = "Error: Failed to synchronise '%s' (errno=%d)\n",
     .rule =
         "Packages are deleted only once what they brought is on stable storage. They stay, and "
         "the next run installs them again.",
     .causes = "Flash that fails, or is full.",
     .repair = "Check the flash; install again."},
    {.id = "WZ-0613",
     .severity = Severity::kWarning,
     .title = "The security service does not list its certificates",
     .logLine = "CMDiag failed (ret=%d)\n",
     .rule = "The terminal's own certificates come from its security service. Without them no "
             "authority, and so no signer, is accepted. The line goes to standard error.",
     .causes = "The service is not running, or refuses this program.",
     .repair = "Have the security service running before packages are installed."},
    {.id = "WZ-0614",
     .severity = Severity::kError,
     .title = "The security service does not tell the terminal's sponsor",
     .logLine = "Error: CMDiag failed (ret=%d)\n",
     .rule =
         "Without the sponsor nothing can be judged: the run removes nothing, and takes away what "
         "it brought and could not judge.",
     .causes = "The service was busy or was being started.",
     .repair = "Install the packages again once the service answers."},
};

}  // namespace

std::span<const Code> terminalCodes() { return kCodes; }

}  // namespace wz
