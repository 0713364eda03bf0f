// Octets as uppercase hexadecimal text.
#ifndef WZAPP_CRYPTO_HEX_H
#define WZAPP_CRYPTO_HEX_H

#include <cstddef>

#include "support/byte_view.h"

namespace wzapp {

// Writes two characters an octet and a terminating NUL.
// `size`: octets at `text`. Where it is not larger than twice the number of octets, only the first
// (size - 1) / 2 of them are written; with 0 nothing is.
void bytesToHex(ByteView bytes, char* text, std::size_t size);

}  // namespace wzapp

#endif  // WZAPP_CRYPTO_HEX_H
