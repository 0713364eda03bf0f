// WZ-09nn: keys, and what is to be packed.

#include "wz/words/codes.h"

namespace wz {
namespace {

constexpr Code kCodes[] = {
    {.id = "WZ-0901",
     .severity = Severity::kError,
     .title = "No sponsor is named",
     .rule = "A package is for terminals of the sponsors that its marketplace manifest lists.",
     .causes = "Neither the manifest nor --sponsor names one.",
     .repair = "Name each with --sponsor, or in the manifest: \"sponsors\": [\"123456\"].",
     .command = "wz pack APPDIR -o FILE --sponsor ID"},
    {.id = "WZ-0902",
     .severity = Severity::kError,
     .title = "An application is named twice",
     .rule = "The case of letters does not tell two ids apart.",
     .causes = "The same --uninstall twice.",
     .repair = "Name it once."},
    {.id = "WZ-0903",
     .severity = Severity::kError,
     .title = "A signer cannot be used",
     .rule =
         "The folder of keys has signers/application and signers/manifest, each a certificate in "
         "DER with its key beside it; keys have at most 2048 bits and the exponent 3 or 65537.",
     .causes = "Another folder; a certificate without its key; a key for another certificate.",
     .repair = "Make a folder of development keys, or name the one that was meant.",
     .command = "wz keys init DIR"},
    {.id = "WZ-0904",
     .severity = Severity::kError,
     .title = "The package could not be made",
     .rule = "A package is made beside its place and moved there once it has been verified.",
     .causes = "No space, no permission, or a file of 4 GiB or more.",
     .repair = "Mend what the message says."},
    {.id = "WZ-0905",
     .severity = Severity::kWarning,
     .title = "The keys have authorities of their own",
     .rule = "Only terminals whose library was built with these authorities take the package.",
     .causes = "The keys were made by wz keys init, and this wz was built with others.",
     .repair = "Build the terminal's library with -DWZAPP_AUTHORITIES of that folder.",
     .command = "cmake --preset demo -DWZAPP_AUTHORITIES=DIR"},
    {.id = "WZ-0906",
     .severity = Severity::kWarning,
     .title = "A certificate is past its last date",
     .rule = "Terminals go on accepting it, since their clocks may be wrong; people and other "
             "programs that look at the dates do not.",
     .causes = "Nobody has replaced the signer in time.",
     .repair = "Put a new signer in its place.",
     .command = "wz keys rotate DIR"},
    {.id = "WZ-0907",
     .severity = Severity::kWarning,
     .title = "A certificate is soon past its last date",
     .rule =
         "Signers are replaced before their last date. Packages that are signed already stay as "
         "they are.",
     .causes = "The signer was issued for a limited time.",
     .repair = "Put a new signer in its place.",
     .command = "wz keys rotate DIR"},
    {.id = "WZ-0908",
     .severity = Severity::kError,
     .title = "A development key has signed it",
     .rule = "The private keys of development lie open, so that whoever has them signs whatever "
             "they like. What is released is signed by a product's own signers.",
     .causes =
         "The package was made with the keys that a build, wz keys init or the first use of an "
         "installed kit has made.",
     .repair = "Sign it with the product's signers, by their keys or by a program that has them.",
     .command = "wz pack APPDIR --release --keys DIR --sign-command CMD"},
    {.id = "WZ-0909",
     .severity = Severity::kError,
     .title = "A signer cannot be issued",
     .rule =
         "Who has the private key of an authority issues signers below it. One of kind 2 issues "
         "signers of both roles, of kind 3 such for applications, of kind 4 such for manifests.",
     .causes =
         "The folder has signers alone; the authority's key lies elsewhere; the folder cannot "
         "be written to.",
     .repair = "Name the folder that has the authority's key.",
     .command = "wz keys issue DIR --keys KEYS"},
    {.id = "WZ-0910",
     .severity = Severity::kError,
     .title = "There is no certificate in it",
     .rule =
         "Folders hold certificates as *.der and *.crt, packages as *.crt, certificate archives "
         "whatever they hold.",
     .causes = "Another file or folder; a package whose signers came without their certificates.",
     .repair = "Name the certificate itself, or a folder, package or archive that has one."},
    {.id = "WZ-0911",
     .severity = Severity::kError,
     .title = "The package is no beginning for variants",
     .rule =
         "Variants are made of a package that terminals take: one application, ID.MFT and ID/ in "
         "its archive, and its marketplace package, each signed by a signer of its own.",
     .causes = "A package that is refused as it is; one that removes, or holds several "
               "applications; other keys than those that signed it.",
     .repair = "Make one of a folder, with the keys that the variants are to be signed with.",
     .command = "wz pack APPDIR -o FILE --keys DIR"},
    {.id = "WZ-0912",
     .severity = Severity::kError,
     .title = "A host says something else of a tampered package",
     .rule = "Every host that installs by the library writes the lines that the variant's rules "
             "give, and the same result; their order is free.",
     .causes = "Another version of the library; a host that does not pass the whole log on; a "
               "terminal with other authorities.",
     .repair = "Look at the lines that are missing and those that are too many.",
     .command = "wz tamper LAB --run HOST --only VARIANT"},
    {.id = "WZ-0930",
     .severity = Severity::kError,
     .title = "A test of the application failed",
     .rule = "wz test is done when every test passes that is not left out.",
     .causes = "The application does something else than its test expects; a test that waits for "
               "what does not come, or that cannot be loaded.",
     .repair = "Run that test alone, in words.",
     .command = "wz test FOLDER -- FILE:LINE"},
};

}  // namespace

std::span<const Code> keyCodes() { return kCodes; }

}  // namespace wz
