// WZ-04nn: DER, below certificates and signature files.

#include "crypto/der/der_error.h"
#include "wz/words/codes.h"

namespace wz {
namespace {

constexpr char kCutOff[] = "The file is cut off, is no DER, or a length in it was changed.";
constexpr char kEncodeAnew[] = "Take the file anew from whoever made it, as DER.";
constexpr char kDump[] = "openssl asn1parse -inform DER -in FILE";

constexpr Code kCodes[] = {
    {.id = "WZ-0401",
     .severity = Severity::kError,
     .title = "The text ends where an element is expected",
     .layer = Layer::kDer,
     .number = wzapp::kDerEnd,
     .rule = "Every element that the form asks for is there.",
     .causes = kCutOff,
     .repair = kEncodeAnew,
     .command = kDump},
    {.id = "WZ-0402",
     .severity = Severity::kError,
     .title = "An element does not lie inside the text",
     .layer = Layer::kDer,
     .number = wzapp::kDerBadHeader,
     .rule = "Identifier, length and content of an element lie inside the text.",
     .causes = kCutOff,
     .repair = kEncodeAnew,
     .command = kDump},
    {.id = "WZ-0403",
     .severity = Severity::kError,
     .title = "An element is too long or nested too deeply",
     .layer = Layer::kDer,
     .number = wzapp::kDerTooLong,
     .rule =
         "Identifiers have at most three octets, lengths are at most 32766, and there are at most "
         "25 levels of elements.",
     .causes = "A file that is no certificate and no signature.",
     .repair = kEncodeAnew,
     .command = kDump},
    {.id = "WZ-0404",
     .severity = Severity::kError,
     .title = "An element without parts has no definite length",
     .layer = Layer::kDer,
     .number = wzapp::kDerIndefinitePrimitive,
     .rule = "Only a constructed element may have the indefinite length 80.",
     .causes = kCutOff,
     .repair = kEncodeAnew,
     .command = kDump},
    {.id = "WZ-0405",
     .severity = Severity::kError,
     .title = "An object identifier was not found, or is too long",
     .layer = Layer::kDer,
     .number = wzapp::kDerNotFound,
     .rule =
         "An object identifier that is looked for is there; each of its numbers has at most five "
         "octets, and its text at most 30 characters.",
     .causes = "A file of another form.",
     .repair = kEncodeAnew,
     .command = kDump},
    {.id = "WZ-0406",
     .severity = Severity::kError,
     .title = "A number has no octets, or more than four",
     .layer = Layer::kDer,
     .number = wzapp::kDerBadInteger,
     .rule = "Versions, path lengths and the like are INTEGERs of one to four octets.",
     .causes = "A file of another form.",
     .repair = kEncodeAnew,
     .command = kDump},
    {.id = "WZ-0407",
     .severity = Severity::kError,
     .title = "A flag does not have one octet",
     .layer = Layer::kDer,
     .number = wzapp::kDerBadBoolean,
     .rule = "A BOOLEAN has one octet; 00 is false and any other true.",
     .causes = "A file of another form.",
     .repair = kEncodeAnew,
     .command = kDump},
    {.id = "WZ-0408",
     .severity = Severity::kError,
     .title = "An object identifier was asked of an element that was not read",
     .layer = Layer::kDer,
     .number = wzapp::kDerInvalidElement,
     .rule = "Only an element that was read whole is converted.",
     .causes = kCutOff,
     .repair = kEncodeAnew,
     .command = kDump},
    {.id = "WZ-0409",
     .severity = Severity::kError,
     .title = "A search of a kind that does not exist was asked for",
     .layer = Layer::kDer,
     .number = wzapp::kDerUnknownSearch,
     .rule = "Searches are by identifier, by object identifier, or by place alone.",
     .causes = "A mistake in the library; no file can cause it.",
     .repair = "Report it to those who maintain the library, with the file."},
    {.id = "WZ-0410",
     .severity = Severity::kError,
     .title = "An object identifier ends in the middle of a number",
     .layer = Layer::kDer,
     .number = wzapp::kDerTruncatedOid,
     .rule = "The last octet of each number in an object identifier is below 80.",
     .causes = kCutOff,
     .repair = kEncodeAnew,
     .command = kDump},
};

}  // namespace

std::span<const Code> derCodes() { return kCodes; }

}  // namespace wz
