// WZ-05nn: what may stay installed: marketplace manifests, sponsors and dependencies.

#include "wz/words/codes.h"

namespace wz {
namespace {

constexpr char kList[] = "wz list --terminal DIR";

constexpr Code kCodes[] = {
    // ---- Manifests and sponsors ---------------------------------------------------------------
    {.id = "WZ-0501",
     .severity = Severity::kError,
     .title = "A manifest names no application",
     .logLine = "Error: app id missing in %s\n",
     .rule =
         "A manifest names its application: \"application\": {\"id\": \"...\"}, or appid in its "
         "[install] or [uninstall] section. The empty id counts as missing.",
     .causes =
         "A key that is written differently; the section for installing is missing; an id that "
         "cannot name a folder.",
     .repair = "Write the id into the manifest.",
     .command = "wz check APPDIR"},
    {.id = "WZ-0502",
     .severity = Severity::kError,
     .title = "A manifest cannot be read",
     .logLine = "Error: Cannot read '%s', invalid permissions or invalid format\n",
     .rule = "A manifest is JSON, or sections of keys and values, and has at most 1 MiB.",
     .causes = "A mistake in the JSON, a byte order mark in front of it, or a file that cannot be "
               "opened.",
     .repair = "Check the application's folder: it names line and column.",
     .command = "wz check APPDIR"},
    {.id = "WZ-0503",
     .severity = Severity::kError,
     .title = "The manifest does not list the terminal's sponsor",
     .logLine = "Error: Invalid sponsor list '%s' for %s '%s', expecting sponsor '%s'\n",
     .rule = "An application may stay, and may be removed, only where its manifest lists the "
             "terminal's sponsor, digit by digit.",
     .causes = "It was packed for other sponsors; \"sponsors\" is a text where a list is wanted.",
     .repair = "Pack it for the sponsor that the terminal expects.",
     .command = "wz pack APPDIR -o FILE --sponsor ID"},
    {.id = "WZ-0504",
     .severity = Severity::kWarning,
     .title = "A folder of the manifest root has no marketplace manifest",
     .logLine = "Warning: %s not found\n",
     .rule =
         "Below the manifest root each folder has mpmanifest.mft; without it the folder and the "
         "application are removed.",
     .causes = "A marketplace package that brings only confOwner.json or appuninstall.mft.",
     .repair = "Make the package with wz pack.",
     .command = "wz pack APPDIR -o FILE"},
    {.id = "WZ-0505",
     .severity = Severity::kError,
     .title = "A marketplace manifest lies in a folder of another name than its id",
     .logLine = "Mismatching directory name %s\n",
     .rule =
         "The folder of a marketplace manifest has the application's id for a name; the case of "
         "letters does not count. The application is removed otherwise.",
     .causes = "The id was changed and the folder was not.",
     .repair = "Make the package with wz pack, which names the folder.",
     .command = "wz pack APPDIR -o FILE"},
    {.id = "WZ-0506",
     .severity = Severity::kError,
     .title = "A removal was refused",
     .logLine = "Removing invalid uninstall package %s\n",
     .rule =
         "A removal lists the terminal's sponsor and names the application. One that does not is "
         "deleted; the application stays, and counts as removed in the run's report.",
     .causes = "It was made for other sponsors.",
     .repair = "Make it for the sponsor that the terminal expects.",
     .command = "wz pack --uninstall ID -o FILE --sponsor ID"},
    {.id = "WZ-0507",
     .severity = Severity::kError,
     .title = "An application has no marketplace manifest that lets it stay",
     .logLine = "Error: No valid marketplace manifest found for %s\n",
     .rule = "An application stays only while a marketplace manifest names it and lists the "
             "terminal's sponsor. It is removed otherwise, with its data.",
     .causes =
         "Packed with --application-only; its marketplace manifest was refused in the same run "
         "(the log says so above).",
     .repair = "Pack it with its marketplace package.",
     .command = "wz pack APPDIR -o FILE --sponsor ID"},
    {.id = "WZ-0508",
     .severity = Severity::kError,
     .title = "The terminal has no marketplace manifests at all",
     .logLine = "Error: No marketplace manifest found for %s\n",
     .rule = "Where the manifest root cannot be listed, every application is removed.",
     .causes = "No marketplace package has been installed yet, or the folder was taken away.",
     .repair = "Install packages that have their marketplace packages.",
     .command = "wz pack APPDIR -o FILE --sponsor ID"},

    // ---- Dependencies -------------------------------------------------------------------------
    {.id = "WZ-0510",
     .severity = Severity::kError,
     .title = "The triggers on the terminal are older than the application asks for",
     .logLine = "Error: trigger version %s less than %s\n",
     .rule = "The exported trigger version is not below triggers_min_version. 1.2 is below 1.2.0.",
     .causes = "An older terminal; no software exports a version, which then is the lowest; 1.2.0 "
               "written where 1.2 is exported.",
     .repair = "Lower the bound, write it with as many numbers as are exported, or update the "
               "terminal.",
     .command = kList},
    {.id = "WZ-0511",
     .severity = Severity::kError,
     .title = "The triggers on the terminal are newer than the application allows",
     .logLine = "Error: trigger version %s higher than %s\n",
     .rule = "The exported trigger version is not above triggers_max_version. 1.2.0 is above 1.2.",
     .causes = "A newer terminal; a bound with fewer numbers than are exported.",
     .repair = "Raise the bound, or leave it out.",
     .command = kList},
    {.id = "WZ-0512",
     .severity = Severity::kError,
     .title = "The runtime is older than the application asks for",
     .logLine = "Error: WZ runtime version %s less than %s\n",
     .rule = "The runtime's version, 2.46.6, is not below wzruntime_min_version.",
     .causes = "The application was made for a newer runtime.",
     .repair = "Lower wzruntime_min_version, or update the terminal."},
    {.id = "WZ-0513",
     .severity = Severity::kError,
     .title = "The runtime is newer than the application allows",
     .logLine = "Error: WZ runtime version %s higher than %s\n",
     .rule = "The runtime's version, 2.46.6, is not above wzruntime_max_version. 2.46.6 is above "
             "2.46.",
     .causes = "A bound with fewer numbers than the version has.",
     .repair = "Raise wzruntime_max_version, or leave it out."},
    {.id = "WZ-0514",
     .severity = Severity::kError,
     .title = "A trigger that the application imports is missing",
     .logLine = "Error: Missing trigger %s\n",
     .rule = "Every trigger of imports_trigger that is not optional is exported by the terminal's "
             "own software or by an application that stays.",
     .causes = "The application that exports it is not installed, or was removed in the same run.",
     .repair = "Install what exports it, or mark the import \"optional\": true.",
     .command = kList},
    {.id = "WZ-0515",
     .severity = Severity::kError,
     .title = "An interface that the application imports is missing",
     .logLine = "Error: Missing api %s\n",
     .rule =
         "Every interface of imports_api that is not optional is exported by the terminal's own "
         "software or by an application that stays.",
     .causes = "The application that exports it is not installed, or was removed in the same run.",
     .repair = "Install what exports it, or mark the import \"optional\": true.",
     .command = kList},
    {.id = "WZ-0516",
     .severity = Severity::kError,
     .title = "The application does not support this terminal",
     .logLine = "Error: Platform %s or model %s not supported\n",
     .rule = "Where a manifest lists platforms, one of them is the terminal's model or its "
             "description, such as 480x800C15T. An empty list fits no terminal.",
     .causes = "Another display, another number of keys, or a model in other letters.",
     .repair = "Add what the log names to \"platforms\", or leave the list out."},
    {.id = "WZ-0517",
     .severity = Severity::kError,
     .title = "The application was removed, since it lacks what it needs",
     .logLine = "Removing app %s\n",
     .rule = "An application that misses a version, trigger, interface or platform is removed, and "
             "the others are checked again without it.",
     .causes = "The lines above it say what is missing.",
     .repair = "Repair what they say.",
     .command = "wz explain TEXT"},
    {.id = "WZ-0518",
     .severity = Severity::kWarning,
     .title = "A manifest is not JSON, so that its dependencies are not checked",
     .logLine = "%s not in JSON format, skipping.\n",
     .rule = "Imports and exports are read from JSON manifests only.",
     .causes = "A manifest of sections; a mistake in the JSON.",
     .repair = "Write the manifest as JSON.",
     .command = "wz check APPDIR"},
    {.id = "WZ-0519",
     .severity = Severity::kError,
     .title = "What was installed did not stay",
     .logLine = "Error: Installation of %s failed\n",
     .rule = "An application that the run brought and its rules removed again makes the run fail. "
             "Only the first is named.",
     .causes = "The sponsor, the marketplace manifest or a dependency; the lines above say which.",
     .repair = "Try the package on a copy of the terminal: it says why.",
     .command = "wz inspect FILE --terminal DIR"},
    {.id = "WZ-0520",
     .severity = Severity::kWarning,
     .title = "Something is removed from the terminal",
     .logLine = "Removing %s\n",
     .rule =
         "What may not stay is removed: the application, its data and its manifests, each with a "
         "line of its own.",
     .causes = "The lines above it say why; a removal that was asked for has none.",
     .repair = "Nothing is to be repaired where the removal was asked for."},
    {.id = "WZ-0521",
     .severity = Severity::kWarning,
     .title = "The package is installed, and something else vanishes",
     .rule = "Each installation judges everything that is installed, not the package alone.",
     .causes = "What vanishes imports what the package no longer exports, or could not have stayed "
               "through any installation.",
     .repair = "Try the package on a copy of the terminal: it says what vanishes, and why.",
     .command = "wz install --dry-run FILE --terminal DIR"},
    {.id = "WZ-0522",
     .severity = Severity::kWarning,
     .title = "The package takes the place of something newer",
     .rule = "Terminals do not compare versions: what is installed last is what is there.",
     .causes = "An older package than the one that is installed.",
     .repair = "Leave the terminal out, or install the newer package."},
};

}  // namespace

std::span<const Code> stayCodes() { return kCodes; }

}  // namespace wz
