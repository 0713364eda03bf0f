/// Names of certificates as text.
#ifndef WZ_WORDS_NAME_TEXT_H
#define WZ_WORDS_NAME_TEXT_H

#include <string>

#include "support/byte_view.h"

namespace wz {

/// A Name (X.501, a SEQUENCE of relative names) as UTF-8: "O=Example, CN=Signer", in the order of
/// the certificate. Attributes and special characters are written as RFC 4514 has it: what is not
/// named there by its OID, what is no text as # and hexadecimal digits, and a backslash before each
/// character that could be taken for one of the name's own. Octets that are no UTF-8 stay as they
/// are; output.h makes them visible.
/// \param content  the content octets of the SEQUENCE; what cannot be read ends the name.
[[nodiscard]] std::string nameText(wzapp::ByteView content);

}  // namespace wz

#endif  // WZ_WORDS_NAME_TEXT_H
