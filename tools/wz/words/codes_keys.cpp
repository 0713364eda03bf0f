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
};

}  // namespace

std::span<const Code> keyCodes() { return kCodes; }

}  // namespace wz
