// WZ-07nn: manifests, and the configurations beside them.

#include "wz/words/codes.h"

namespace wz {
namespace {

constexpr char kNew[] = "wz new DIR";

constexpr Code kCodes[] = {
    // ---- Form ---------------------------------------------------------------------------------
    {.id = "WZ-0701",
     .severity = Severity::kError,
     .title = "The manifest is missing or cannot be read",
     .rule = "The folder of an application has manifest.mft, of at most 1 MiB.",
     .causes = "Another folder was named; the manifest has another name.",
     .repair = "Write the manifest; a new application has one to begin with.",
     .command = kNew},
    {.id = "WZ-0702",
     .severity = Severity::kError,
     .title = "The manifest is no JSON",
     .behind = "WZ-0502",
     .rule = "A manifest that begins with { is one JSON value (RFC 8259) and nothing else.",
     .causes = "A comma behind the last member, single quotes, comments, a missing bracket.",
     .repair = "Mend it at the line and column that are named."},
    {.id = "WZ-0703",
     .severity = Severity::kError,
     .title = "The manifest begins with a byte order mark",
     .behind = "WZ-0502",
     .rule =
         "JSON begins with its value; terminals do not read one with the octets EF BB BF before "
         "it.",
     .causes = "An editor that saves as \"UTF-8 with BOM\".",
     .repair = "Save it as UTF-8 without a byte order mark.",
     .command = "sed -i '1s/^\\xEF\\xBB\\xBF//' FILE"},
    {.id = "WZ-0704",
     .severity = Severity::kError,
     .title = "The manifest is neither JSON nor sections of keys and values",
     .behind = "WZ-0502",
     .rule =
         "What is not JSON has [sections], lines KEY = VALUE below them, and comments behind ;.",
     .causes = "A line that is none of these.",
     .repair = "Write the manifest as JSON.",
     .command = kNew},
    {.id = "WZ-0705",
     .severity = Severity::kWarning,
     .title = "The manifest is not JSON, so that its imports are not checked",
     .behind = "WZ-0518",
     .rule = "Imports and exports are read from JSON manifests only.",
     .causes = "It is written as sections of keys and values.",
     .repair = "Write the manifest as JSON.",
     .command = kNew},
    {.id = "WZ-0706",
     .severity = Severity::kError,
     .title = "A key stands twice in one object",
     .rule =
         "Of two members with the same key readers take one or the other; a terminal's may take "
         "another one than yours.",
     .causes = "A part that was copied.",
     .repair = "Leave one of them."},
    {.id = "WZ-0707",
     .severity = Severity::kWarning,
     .title = "A key is not known",
     .rule = "Terminals pass over keys that they do not know, without a word.",
     .causes = "A slip in writing; a key in the wrong object.",
     .repair = "Write the key that was meant. Keys that begin with $ or x- are your own."},
    {.id = "WZ-0708",
     .severity = Severity::kError,
     .title = "A value is of the wrong type",
     .rule =
         "A text that is no text reads as the empty one, a list that is no list as the empty one, "
         "and a flag that is no flag as false; nothing is said about it.",
     .causes = "A number or a single text where a text or a list is wanted.",
     .repair = "Write it as the message says."},

    // ---- Identity -----------------------------------------------------------------------------
    {.id = "WZ-0710",
     .severity = Severity::kError,
     .title = "The application id is missing",
     .behind = "WZ-0501",
     .rule =
         "\"application\": {\"id\": \"...\"} names the application and its folder on a terminal.",
     .causes = "The key is missing, empty or in another object.",
     .repair = "Write the id."},
    {.id = "WZ-0711",
     .severity = Severity::kError,
     .title = "The application id cannot name a folder",
     .behind = "WZ-0501",
     .rule = "An id is one plain name: not . or .., without /, \\ and control characters, not "
             "ending in "
             "a colon or in .mft, and of at most 238 octets.",
     .causes = "A path or an address was written for the id.",
     .repair = "Choose an id of letters, digits, dots, hyphens and underscores."},
    {.id = "WZ-0712",
     .severity = Severity::kError,
     .title = "Two manifests of the package have the same id, or another than the package",
     .rule =
         "A terminal takes the id of the last file that ends in .mft for that of the application, "
         "so that each must name the same; and no two applications of a package may share an id.",
     .causes = "A file of the application's own that ends in .mft.",
     .repair = "Give the other file another ending than .mft."},
    {.id = "WZ-0713",
     .severity = Severity::kError,
     .title = "The application is installed under one id and run under another",
     .rule =
         "A manifest of sections names the id twice: appid in [install], and id in [application].",
     .causes = "One was changed and the other was not.",
     .repair = "Write the same id in both places."},
    {.id = "WZ-0714",
     .severity = Severity::kError,
     .title = "A sponsor is no sponsor",
     .behind = "WZ-0503",
     .rule = "A sponsor is six digits that are not all 0, as a text.",
     .causes = "A number, which loses its leading zeros; blanks around it.",
     .repair = "Write it as six digits in quotation marks."},

    // ---- Versions -----------------------------------------------------------------------------
    {.id = "WZ-0720",
     .severity = Severity::kError,
     .title = "A version is a number where a text is wanted",
     .rule =
         "Versions are texts: \"1.10\". As a number 1.10 is 1.1, and reads as the empty version, "
         "which is below all others.",
     .causes = "The quotation marks were left out.",
     .repair = "Put the version in quotation marks."},
    {.id = "WZ-0721",
     .severity = Severity::kWarning,
     .title = "A part of a version is no number",
     .rule =
         "Versions are decimal numbers with dots between them. What stands behind the digits of a "
         "part does not count, and a part without digits is 0: 1.2-beta is 1.2, and v1.2 is 0.2.",
     .causes = "A letter in front, or a word behind.",
     .repair = "Write numbers and dots alone."},
    {.id = "WZ-0722",
     .severity = Severity::kWarning,
     .title = "A bound has fewer parts than the version it is compared with",
     .rule = "Of two versions that agree as far as both go the shorter is less: 1.2 is below "
             "1.2.0, and "
             "2.46.6 is above 2.46.",
     .causes =
         "A highest version such as 2.46, which 2.46.6 is beyond; a lowest one such as 1.2.0, "
         "which 1.2 is below.",
     .repair = "Write as many parts as the other side has."},
    {.id = "WZ-0723",
     .severity = Severity::kError,
     .title = "A lowest version is above the highest",
     .rule = "No version lies between them, so that no terminal keeps the application.",
     .causes = "The two were swapped; 1.2.0 as the lowest and 1.2 as the highest.",
     .repair = "Swap them, or leave one out."},
    {.id = "WZ-0724",
     .severity = Severity::kError,
     .title = "The runtime does not lie between the bounds",
     .behind = "WZ-0512",
     .rule = "The runtime of this version is 2.46.6.",
     .causes = "A bound for a newer or an older runtime.",
     .repair = "Change the bound, if terminals of this runtime are to have it."},

    // ---- Imports and exports ------------------------------------------------------------------
    {.id = "WZ-0730",
     .severity = Severity::kError,
     .title = "The list of platforms is empty",
     .behind = "WZ-0516",
     .rule = "An empty list of platforms fits no terminal; without the list every terminal fits.",
     .causes = "The last one was taken out, and the list was left.",
     .repair = "Leave \"platforms\" out, or name one."},
    {.id = "WZ-0731",
     .severity = Severity::kWarning,
     .title = "Exports of another application may end with this one",
     .rule =
         "When an application fails, its exports are skipped under its manifest's name without the "
         "last five characters: those of SHOP.MFT end with SHO. So the exports of an id of which "
         "another id is all but the last character depend on that other one.",
     .causes = "Two applications of a package whose ids differ by one character at the end.",
     .repair = "Give one of them another id."},
    {.id = "WZ-0732",
     .severity = Severity::kError,
     .title = "An import or an export has no id",
     .rule = "Each element of imports_trigger, imports_api, exports_trigger and exports_api is an "
             "object with an id. Without it, the empty id is imported or exported.",
     .causes = "The key is name instead of id, or a text stands where the object is wanted.",
     .repair = "Write {\"id\": \"...\"}."},

    // ---- Configurations -----------------------------------------------------------------------
    {.id = "WZ-0740",
     .severity = Severity::kError,
     .title = "A configuration is no JSON",
     .rule =
         "confApp.json and confOwner.json are one JSON value each. A page that asks for one that "
         "is not gets nothing.",
     .causes = "A comma behind the last member, comments, a byte order mark.",
     .repair = "Mend it at the line and column that are named."},
};

}  // namespace

std::span<const Code> manifestCodes() { return kCodes; }

}  // namespace wz
