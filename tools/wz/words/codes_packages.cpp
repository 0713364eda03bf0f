// WZ-01nn: package files and archives.

#include "wz/words/codes.h"

namespace wz {
namespace {

constexpr Code kCodes[] = {
    {.id = "WZ-0101",
     .severity = Severity::kError,
     .title = "The archive cannot be read",
     .logLine = "Error: Failed reading '%s'\n",
     .rule =
         "A package file, and each archive in it, is a ZIP archive whose directory can be read to "
         "its end and has at least one entry. The terminal passes over what is not, and deletes "
         "the package file.",
     .causes =
         "The log does not say which: no ZIP archive at all, a cut-off transfer, no entries, a "
         "damaged directory, or a name of 256 octets or more.",
     .repair = "Inspect the file that was sent; it says which of the causes it is. Send it again.",
     .command = "wz inspect FILE"},
    {.id = "WZ-0102",
     .severity = Severity::kError,
     .title = "An entry of the package cannot be unpacked",
     .logLine = "Error: Failed to extract '%s'\n",
     .rule =
         "Certificates, signatures and archives are unpacked from the package file before they "
         "are verified. A certificate that cannot be is passed over; an archive whose own data or "
         "signature cannot be unpacked is not installed.",
     .causes =
         "Damage on the way; an empty entry; a certificate or signature larger than one is; a "
         "compression method other than stored and deflated; an encrypted entry.",
     .repair = "Make the package anew with wz pack, and send it in binary mode.",
     .command = "wz pack APPDIR -o FILE"},
    {.id = "WZ-0103",
     .severity = Severity::kError,
     .title = "A file of the application could not be written",
     .logLine = "Error: Failed to extract '%s' -> '%s'\n",
     .rule = "Each entry of a verified archive is written below the terminal's root for it, and "
             "nowhere else. The other entries are written all the same.",
     .causes =
         "No space left on the flash; a name that leads out of the root; a name of which a part "
         "is a file already, or a link; damaged data.",
     .repair = "Free space on the terminal, or take the name out of the application.",
     .command = "wz check APPDIR"},
    {.id = "WZ-0104",
     .severity = Severity::kError,
     .title = "The package holds no archive",
     .rule = "What is installed lies in archives inside the package: NAME.zip for an application, "
             "NAME-O.zip for its marketplace manifest, NAME-U.zip for a removal. A package without "
             "one is read, deleted and changes nothing.",
     .causes = "The application's own archive was sent instead of the package that holds it.",
     .repair = "Make the package with wz pack.",
     .command = "wz pack APPDIR -o FILE"},
    {.id = "WZ-0105",
     .severity = Severity::kError,
     .title = "The archive's manifest is not in its place",
     .rule = "An application's archive has ID.MFT at its top; a marketplace package has "
             "ID/mpmanifest.mft and a removal ID/appuninstall.mft. ID is the id that the manifest "
             "names; the case of letters does not count.",
     .causes = "The archive was made by hand; the folder was renamed and the manifest was not.",
     .repair = "Make the package with wz pack, which puts each file in its place.",
     .command = "wz pack APPDIR -o FILE"},
    {.id = "WZ-0110",
     .severity = Severity::kError,
     .title = "The file is no ZIP archive",
     .behind = "WZ-0101",
     .rule =
         "A package file is a ZIP archive: its central directory ends with a record that begins "
         "50 4B 05 06.",
     .causes =
         "Another kind of archive (tar, 7z, gzip), an error page that was saved as a file, or a "
         "transfer as text.",
     .repair = "Make the package with wz pack, and send it in binary mode.",
     .command = "wz pack APPDIR -o FILE"},
    {.id = "WZ-0111",
     .severity = Severity::kError,
     .title = "The archive is cut off",
     .behind = "WZ-0101",
     .rule = "The directory of a ZIP archive stands at its end. Without its last octets nothing of "
             "an archive can be found.",
     .causes = "A transfer that broke off; a disk that was full.",
     .repair = "Copy the whole file again; compare the sizes."},
    {.id = "WZ-0112",
     .severity = Severity::kError,
     .title = "The archive has no entries",
     .behind = "WZ-0101",
     .rule = "An archive without entries counts as one that cannot be read.",
     .causes = "It was made of an empty folder.",
     .repair = "Make the package with wz pack.",
     .command = "wz pack APPDIR -o FILE"},
    {.id = "WZ-0113",
     .severity = Severity::kError,
     .title = "A name in the archive is too long",
     .behind = "WZ-0101",
     .rule =
         "Names in archives have at most 255 octets, the application's folder included. One that "
         "is longer makes the whole archive unreadable.",
     .causes = "Deep folders, or names made of digests.",
     .repair = "Shorten the path. Letters beyond ASCII have two to four octets each."},
    {.id = "WZ-0114",
     .severity = Severity::kError,
     .title = "The archive's directory is damaged",
     .behind = "WZ-0101",
     .rule =
         "The records of the directory lie one behind the other, each beginning 50 4B 01 02, as "
         "many as the archive states.",
     .causes = "Damage on the way; a transfer as text, which changes line ends.",
     .repair = "Send the file again, in binary mode."},
    {.id = "WZ-0115",
     .severity = Severity::kError,
     .title = "The file cannot be read",
     .rule = "A package is a regular file that the user may read.",
     .causes = "Another user's file, a folder, a pipe, or a name that is not there.",
     .repair = "Check the name and the permissions."},
};

}  // namespace

std::span<const Code> packageCodes() { return kCodes; }

}  // namespace wz
